# Installation: headers, a CMake package (find_package(Tavik) gives Tavik::Kernel and Tavik::Platform) and pkg-config files.
include(CMakePackageConfigHelpers)

install(DIRECTORY include/tavik DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development)

set(TAVIK_PACKAGE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/Tavik)
install(EXPORT TavikTargets NAMESPACE Tavik:: DESTINATION ${TAVIK_PACKAGE_DIR} COMPONENT development)
configure_package_config_file(cmake/TavikConfig.cmake.in ${PROJECT_BINARY_DIR}/TavikConfig.cmake
                              INSTALL_DESTINATION ${TAVIK_PACKAGE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/TavikConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/TavikConfig.cmake ${PROJECT_BINARY_DIR}/TavikConfigVersion.cmake
        DESTINATION ${TAVIK_PACKAGE_DIR} COMPONENT development)

file(RELATIVE_PATH TAVIK_PREFIX_FROM_PKGCONFIG "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/")
foreach(package tavik-kernel tavik-platform)
  configure_file(cmake/${package}.pc.in ${PROJECT_BINARY_DIR}/${package}.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/${package}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)
endforeach()
