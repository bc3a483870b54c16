# What every target of this project is built with; nothing of it reaches those who link to the libraries.
add_library(tavik_options INTERFACE)
target_compile_features(tavik_options INTERFACE cxx_std_20 c_std_11)
target_compile_options(
  tavik_options
  INTERFACE -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wundef
            $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor -Woverloaded-virtual -Wold-style-cast>
            $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict> # g++ 12 sees overlaps in std::string that are not there
            $<$<BOOL:${TAVIK_WARNINGS_AS_ERRORS}>:-Werror>)

if(TAVIK_SANITIZE)
  target_compile_options(tavik_options INTERFACE -fsanitize=${TAVIK_SANITIZE} -fno-omit-frame-pointer
                                                 -fno-sanitize-recover=all)
  target_link_options(tavik_options INTERFACE -fsanitize=${TAVIK_SANITIZE})
  target_compile_definitions(tavik_options INTERFACE _GLIBCXX_ASSERTIONS)
else()
  # Hardening; docs/performance.md has its cost. Debian's C runtime objects lack the mark for shadow stacks, with which they work,
  # so the linker sets it.
  include(CheckCXXCompilerFlag)
  check_cxx_compiler_flag(-fcf-protection TAVIK_HAS_CONTROL_FLOW_PROTECTION)
  target_compile_options(
    tavik_options
    INTERFACE -fstack-protector-strong
              $<$<CONFIG:Release,RelWithDebInfo,MinSizeRel>:-U_FORTIFY_SOURCE;-D_FORTIFY_SOURCE=2>
              $<$<BOOL:${TAVIK_HAS_CONTROL_FLOW_PROTECTION}>:-fcf-protection>)
  target_link_options(tavik_options INTERFACE -Wl,-z,relro -Wl,-z,now
                      $<$<BOOL:${TAVIK_HAS_CONTROL_FLOW_PROTECTION}>:-Wl,-z,shstk>)
endif()

# tavik_library(TavikName Name SOURCES...): a shared library that exports what TavikName.map beside it lists, installed as
# Tavik::Name.
function(tavik_library target export_name)
  add_library(${target} SHARED ${ARGN})
  add_library(Tavik::${export_name} ALIAS ${target})
  target_compile_features(${target} PUBLIC cxx_std_20)
  target_include_directories(${target} PUBLIC $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include>
                                              $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
  target_include_directories(${target} PRIVATE ${PROJECT_SOURCE_DIR}/src)
  target_link_libraries(${target} PRIVATE $<BUILD_INTERFACE:tavik_options>)
  set_target_properties(
    ${target}
    PROPERTIES EXPORT_NAME ${export_name}
               VERSION ${PROJECT_VERSION}
               SOVERSION ${PROJECT_VERSION_MAJOR}
               INSTALL_RPATH "$ORIGIN"
               C_VISIBILITY_PRESET hidden
               CXX_VISIBILITY_PRESET hidden
               VISIBILITY_INLINES_HIDDEN ON)
  set(export_map ${CMAKE_CURRENT_SOURCE_DIR}/${target}.map)
  set_property(TARGET ${target} PROPERTY LINK_DEPENDS ${export_map})
  # The library calls its own functions directly, so a host cannot replace them. Values are moved in halves, which must
  # not be joined (Value.h). Functions begin at cache lines, so their speed does not depend on the size of others.
  target_compile_options(${target} PRIVATE -fno-semantic-interposition -fno-tree-slp-vectorize -falign-functions=64)
  target_link_options(${target} PRIVATE -Wl,--version-script=${export_map} -Wl,--as-needed -Wl,-Bsymbolic-functions)
  if(NOT TAVIK_SANITIZE)
    target_link_options(${target} PRIVATE -Wl,--no-undefined)
  endif()
  install(
    TARGETS ${target}
    EXPORT TavikTargets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT development)
endfunction()
