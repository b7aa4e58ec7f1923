# What the library shows to the outside: symbols, dependencies, headers, installation.

add_test(NAME abi/symbols COMMAND ${Python3_EXECUTABLE} ${CMAKE_CURRENT_SOURCE_DIR}/abi/symbols.py
  $<TARGET_FILE:zelsr> ${PROJECT_SOURCE_DIR}/include ${CMAKE_CURRENT_SOURCE_DIR}/abi/public_names.txt
  $<$<BOOL:${ZELSR_SANITIZE}>:--instrumented> $<$<BOOL:${ZELSR_COVERAGE}>:--instrumented>)
add_test(NAME abi/headers COMMAND ${Python3_EXECUTABLE} ${CMAKE_CURRENT_SOURCE_DIR}/abi/headers.py
  ${PROJECT_SOURCE_DIR}/include ${CMAKE_C_COMPILER} ${CMAKE_CXX_COMPILER} ${CMAKE_C_FLAGS})
set_tests_properties(abi/symbols abi/headers PROPERTIES TIMEOUT 300)
