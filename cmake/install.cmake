# Installation: both libraries, headers, a pkg-config file and a CMake package, per target.
if(NOT DEFINED CMAKE_INSTALL_LIBDIR)
  if(ZELSR_ARCH STREQUAL i386)
    set(CMAKE_INSTALL_LIBDIR lib/i386-linux-gnu)
  else()
    set(CMAKE_INSTALL_LIBDIR lib/x86_64-linux-gnu)
  endif()
endif()
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

install(TARGETS zelsr zelcore EXPORT zelsr-targets LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(DIRECTORY include/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(EXPORT zelsr-targets NAMESPACE zelsr:: DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/zelsr)

configure_package_config_file(cmake/zelsr-config.cmake.in ${PROJECT_BINARY_DIR}/zelsr-config.cmake
  INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/zelsr)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/zelsr-config-version.cmake
  VERSION ${PROJECT_VERSION} COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/zelsr-config.cmake ${PROJECT_BINARY_DIR}/zelsr-config-version.cmake
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/zelsr)

configure_file(cmake/zelsr.pc.in ${PROJECT_BINARY_DIR}/zelsr.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/zelsr.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
