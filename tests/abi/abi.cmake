# What the library shows to the outside: symbols, dependencies, headers, installation, instruction set.

set(instrumented "")
if(ZELSR_SANITIZE OR ZELSR_COVERAGE)
  set(instrumented --instrumented)
endif()
separate_arguments(target_flags UNIX_COMMAND "${CMAKE_C_FLAGS}")

add_test(NAME abi/symbols COMMAND ${Python3_EXECUTABLE} ${CMAKE_CURRENT_SOURCE_DIR}/abi/symbols.py
  $<TARGET_FILE:zelsr> ${PROJECT_SOURCE_DIR}/include ${CMAKE_CURRENT_SOURCE_DIR}/abi/public_names.txt
  ${instrumented})
add_test(NAME abi/headers COMMAND ${Python3_EXECUTABLE} ${CMAKE_CURRENT_SOURCE_DIR}/abi/headers.py
  ${PROJECT_SOURCE_DIR}/include ${CMAKE_C_COMPILER} ${CMAKE_CXX_COMPILER} ${target_flags})

if(NOT instrumented)
  add_test(NAME abi/install COMMAND ${Python3_EXECUTABLE} ${CMAKE_CURRENT_SOURCE_DIR}/abi/install.py
    ${PROJECT_BINARY_DIR} ${PROJECT_SOURCE_DIR} ${CMAKE_CURRENT_BINARY_DIR}/install
    ${CMAKE_C_COMPILER} ${CMAKE_CXX_COMPILER} ${target_flags})
  add_executable(ceiling_probe abi/ceiling_probe.c)
  target_link_libraries(ceiling_probe PRIVATE zelsr_arithmetic)
  add_test(NAME abi/ceiling COMMAND ${Python3_EXECUTABLE} ${CMAKE_CURRENT_SOURCE_DIR}/abi/ceiling.py
    $<TARGET_FILE:ceiling_probe> ${ZELSR_EMULATOR})
endif()
