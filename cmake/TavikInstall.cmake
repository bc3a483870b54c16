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

# The prefix is known at installation; that of packages, which are installed into a folder of cpack first, is known here.
set(TAVIK_PREFIX "@CMAKE_INSTALL_PREFIX@")
if(TAVIK_BUILD_PACKAGES)
  set(TAVIK_PREFIX "${CMAKE_INSTALL_PREFIX}")
endif()
foreach(package tavik-kernel tavik-platform)
  set(file "${PROJECT_BINARY_DIR}/${package}.pc")
  configure_file(cmake/${package}.pc.in "${file}.in" @ONLY)
  install(CODE "configure_file([[${file}.in]] [[${file}]] @ONLY)" COMPONENT development)
  install(FILES "${file}" DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)
endforeach()

# The documentation, with the folders that its links expect.
set(TAVIK_DOC_DIR ${CMAKE_INSTALL_DATADIR}/doc/tavik)
install(FILES README.md CHANGELOG.md CONTRIBUTING.md LICENSE SECURITY.md DESTINATION ${TAVIK_DOC_DIR} COMPONENT command)
install(FILES bindings/python/README.md DESTINATION ${TAVIK_DOC_DIR}/bindings/python COMPONENT command)
install(DIRECTORY docs examples DESTINATION ${TAVIK_DOC_DIR} COMPONENT command PATTERN __pycache__ EXCLUDE)
install(PROGRAMS examples/audit/audit.py DESTINATION ${TAVIK_DOC_DIR}/examples/audit COMPONENT command)
