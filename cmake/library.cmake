# The library, one object library a subsystem, and the stand-in for its core library.

add_library(zelcore SHARED zelcore/constants.c)
set_target_properties(zelcore PROPERTIES VERSION 5.2 SOVERSION 5.2 C_VISIBILITY_PRESET hidden)

add_library(zelsr_flags INTERFACE)
target_link_libraries(zelsr_flags INTERFACE zelsr_arithmetic)
target_compile_options(zelsr_flags INTERFACE
  -Wall -Wextra -Wconversion -Wshadow -Wno-psabi
  -fno-exceptions -fno-rtti -fno-threadsafe-statics -fno-math-errno -fno-semantic-interposition
  -fvisibility=hidden -fvisibility-inlines-hidden ${ZELSR_SANITIZERS})
if(ZELSR_ARCH STREQUAL i386)
  # Old callers keep the stack on 4 bytes only.
  target_compile_options(zelsr_flags INTERFACE -mstackrealign)
endif()

# A folder sees the public headers, its own headers and those of the folders that it may call, by their path
# from the top; every other folder stays out of its reach.
function(zelsr_layer folder)
  file(MAKE_DIRECTORY ${PROJECT_BINARY_DIR}/layers/${folder})
  if(NOT EXISTS ${PROJECT_BINARY_DIR}/layers/${folder}/${folder})
    file(CREATE_LINK ${PROJECT_SOURCE_DIR}/${folder} ${PROJECT_BINARY_DIR}/layers/${folder}/${folder} SYMBOLIC)
  endif()
  add_library(zelsr_layer_${folder} INTERFACE)
  target_include_directories(zelsr_layer_${folder} INTERFACE ${PROJECT_BINARY_DIR}/layers/${folder})
endfunction()

# zelsr_subsystem(folder USES other... ): all of the folder's sources.
set(ZELSR_SUBSYSTEMS "")
function(zelsr_subsystem folder)
  cmake_parse_arguments(ARG "" "" "USES" ${ARGN})
  file(GLOB sources CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/${folder}/*.cpp)
  zelsr_layer(${folder})
  add_library(zelsr_${folder} OBJECT ${sources})
  set_target_properties(zelsr_${folder} PROPERTIES POSITION_INDEPENDENT_CODE ON)
  target_include_directories(zelsr_${folder} PRIVATE ${PROJECT_SOURCE_DIR}/include)
  target_link_libraries(zelsr_${folder} PRIVATE zelsr_flags zelsr_layer_${folder})
  foreach(other ${ARG_USES})
    target_link_libraries(zelsr_${folder} PRIVATE zelsr_layer_${other})
  endforeach()
  set(ZELSR_SUBSYSTEMS ${ZELSR_SUBSYSTEMS} ${folder} PARENT_SCOPE)
endfunction()

zelsr_subsystem(core)
zelsr_subsystem(likelihood USES core)
zelsr_subsystem(matrix USES core)
zelsr_subsystem(frontend USES core)
zelsr_subsystem(estimation USES core)
zelsr_subsystem(lpc USES core)
zelsr_subsystem(aurora USES core)
zelsr_subsystem(noise USES core)
zelsr_subsystem(signal USES core)
zelsr_subsystem(vq USES core)

# Linked as C: no C++ runtime.
add_library(zelsr SHARED)
foreach(folder ${ZELSR_SUBSYSTEMS})
  target_sources(zelsr PRIVATE $<TARGET_OBJECTS:zelsr_${folder}>)
endforeach()
target_include_directories(zelsr INTERFACE
  $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include> $<INSTALL_INTERFACE:include>)
target_link_libraries(zelsr PRIVATE zelcore m)
target_link_options(zelsr PRIVATE -Wl,-Bsymbolic-functions -Wl,--enable-new-dtags)
if(NOT ZELSR_SANITIZE)
  target_link_options(zelsr PRIVATE -Wl,-z,defs)
endif()
set_target_properties(zelsr PROPERTIES
  OUTPUT_NAME zelsrq4 VERSION 5.2 SOVERSION 5.2 LINKER_LANGUAGE C
  BUILD_WITH_INSTALL_RPATH ON INSTALL_RPATH "$ORIGIN")
