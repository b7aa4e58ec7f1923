# A library of everything but the program, for others that train and recognise words.
file(GLOB sources CONFIGURE_DEPENDS recognise/*.cpp)
list(REMOVE_ITEM sources ${CMAKE_CURRENT_SOURCE_DIR}/recognise/main.cpp)
add_library(word_recogniser STATIC ${sources})
target_link_libraries(word_recogniser PUBLIC examples_common Threads::Threads)
add_executable(recognise recognise/main.cpp)
target_link_libraries(recognise PRIVATE word_recogniser)

zelsr_class_test(recogniser word_recogniser)
# A reader of XML and HTML looks at every page that is made.
zelsr_class_test(recognise_page word_recogniser ${Python3_EXECUTABLE} ${tests}/recognise_page_check.py)

# Recordings of words, made once, for the tests that need them: zelsr_words_test is a zelsr_program_test of that
# kind.
set(make_words ${CMAKE_CURRENT_SOURCE_DIR}/recognise/make_words)
set(words ${CMAKE_CURRENT_BINARY_DIR}/words)
if(ZELSR_TESTS)
  add_test(NAME examples/make_words COMMAND ${make_words} --replace ${words})
  set_tests_properties(examples/make_words PROPERTIES FIXTURES_SETUP words)
endif()
function(zelsr_words_test name)
  if(ZELSR_TESTS)
    zelsr_program_test(${name} ${ARGN})
    set_tests_properties(examples/${name} PROPERTIES FIXTURES_REQUIRED words)
  endif()
endfunction()
zelsr_words_test(recognise $<TARGET_FILE:recognise> ${words})
zelsr_words_test(recognise_demo $<TARGET_FILE:recognise> ${words})
zelsr_words_test(recognise_templates $<TARGET_FILE:recognise> ${make_words} ${words})
