# Debian packages, made by CPack of what `install` installs: one for each component. The preset "package" builds for them.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME tavik)
set(CPACK_PACKAGE_CONTACT "The Tavik developers <developers@tavik.example>")
set(CPACK_PACKAGE_DIRECTORY "${PROJECT_BINARY_DIR}/packages")
set(CPACK_PACKAGING_INSTALL_PREFIX "${CMAKE_INSTALL_PREFIX}")
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ
                                                WORLD_EXECUTE)
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "") # each package has its own
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS "${PROJECT_BINARY_DIR}/src" "${PROJECT_BINARY_DIR}/platform")

# What changed in which version is told in CHANGELOG.md.
set(TAVIK_DEBIAN_CHANGELOG "${PROJECT_BINARY_DIR}/changelog.gz")
file(CONFIGURE OUTPUT changelog CONTENT [[
tavik (@PROJECT_VERSION@) stable; urgency=medium

  * Version @PROJECT_VERSION@.

 -- @CPACK_PACKAGE_CONTACT@  Sat, 21 Nov 2026 00:00:00 +0000
]] @ONLY)
add_custom_command(OUTPUT changelog.gz COMMAND gzip --best --no-name --keep --force changelog DEPENDS changelog VERBATIM)
add_custom_target(tavik_changelog ALL DEPENDS changelog.gz)

# tavik_package(COMPONENT NAME SECTION DEPENDS SUMMARY TEXT): the package of a component. DEPENDS: packages of this
# project that it needs in the same version.
macro(tavik_package component name section depends summary text)
  string(TOUPPER ${component} key)
  list(APPEND CPACK_COMPONENTS_ALL ${component})
  set(CPACK_COMPONENT_${key}_DESCRIPTION "${summary}\n${text}")
  set(CPACK_DEBIAN_${key}_PACKAGE_NAME ${name})
  set(CPACK_DEBIAN_${key}_PACKAGE_SECTION ${section})
  set(CPACK_DEBIAN_${key}_PACKAGE_DEPENDS "${depends}")
  install(FILES cmake/debian/copyright ${TAVIK_DEBIAN_CHANGELOG} DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${name}
          COMPONENT ${component})
endmacro()

set(libraries "libtavik${PROJECT_VERSION_MAJOR} (= ${PROJECT_VERSION})")
file(WRITE "${PROJECT_BINARY_DIR}/triggers" "activate-noawait ldconfig\n")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA "${PROJECT_BINARY_DIR}/triggers")
tavik_package(runtime libtavik${PROJECT_VERSION_MAJOR} libs "" "check kernel for factory test stations"
  "Decides whether a manufactured handheld device is configured as its\n\
signed rules say. This package holds the shared libraries: the kernel,\n\
and the platform that validates signatures and writes the log.")
tavik_package(development libtavik-dev libdevel "${libraries}" "check kernel for factory test stations: development files"
  "Headers for C and C++, a CMake package and pkg-config files.")
if(TAVIK_BUILD_TOOLS)
  tavik_package(command tavik utils "${libraries}" "check devices and work on rule documents"
      "The command of the check kernel: checks devices one by one and by the\n\
thousand, and lints, explains, compares, tests, signs and verifies rule\n\
documents. With manual pages and completions for bash and zsh.")
endif()
if(TAVIK_BUILD_TOOLS AND TAVIK_BUILD_STATION)
  tavik_package(station tavik-station utils "${libraries}, tavik (= ${PROJECT_VERSION})" "check devices over HTTP and store the results"
      "The station service of the check kernel, \"tavik serve\": checks devices\n\
over HTTP, stores every result in a database and serves a page for\n\
operators. With a systemd unit, which is not enabled.")
endif()
if(TAVIK_BUILD_PYTHON)
  tavik_package(python python3-tavik python "${libraries}, python3 (>= 3.11), python3 (<< 3.12)" "check kernel for factory test stations: Python module"
    "The whole of the kernel's interface for Python 3, typed.")
endif()

# Debian has manual pages compressed.
install(CODE [[file(GLOB pages "$ENV{DESTDIR}${CMAKE_INSTALL_PREFIX}/share/man/man1/*.1")
execute_process(COMMAND gzip --best --no-name --force ${pages} COMMAND_ERROR_IS_FATAL ANY)]] COMPONENT command)

include(CPack)
