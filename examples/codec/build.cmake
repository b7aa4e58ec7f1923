zelsr_example(codec)

# The codebook that codec brings along becomes part of the program.
set(book ${CMAKE_CURRENT_SOURCE_DIR}/codec/speech.book)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${book})
file(READ ${book} CODEC_BOOK)
configure_file(codec/own_book.cpp.in ${CMAKE_CURRENT_BINARY_DIR}/generated/own_book.cpp @ONLY)
target_sources(codec PRIVATE ${CMAKE_CURRENT_BINARY_DIR}/generated/own_book.cpp)

zelsr_program_test(codec $<TARGET_FILE:codec> ${speech})
zelsr_program_test(codec_sound $<TARGET_FILE:codec> ${speech})
zelsr_words_test(codec_words $<TARGET_FILE:codec> $<TARGET_FILE:recognise> ${words})
