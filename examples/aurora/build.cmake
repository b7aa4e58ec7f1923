# The front-end is a library, for other programs and for its test; the rest makes a program of it.
set(program aurora/main.cpp aurora/compare.cpp aurora/convert.cpp aurora/picture.cpp)
file(GLOB sources CONFIGURE_DEPENDS RELATIVE ${CMAKE_CURRENT_SOURCE_DIR} aurora/*.cpp)
list(REMOVE_ITEM sources ${program})
add_library(front_end STATIC ${sources})
target_link_libraries(front_end PUBLIC examples_common)
add_executable(aurora ${program})
target_link_libraries(aurora PRIVATE front_end word_recogniser)  # the recogniser compares features

zelsr_words_test(aurora $<TARGET_FILE:aurora> ${speech} ${words})
zelsr_class_test(front_end front_end ${speech}/english_us.flac)
