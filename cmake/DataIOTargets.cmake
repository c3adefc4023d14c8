# Settings that every target of the project shares, and the function that gives its shared libraries their shape.

# Qt 6 asks for position-independent code in everything that links it.
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_VERIFY_INTERFACE_HEADER_SETS ${PROJECT_IS_TOP_LEVEL})
# What a folder installs belongs to one package, cmake/DataIODebian.cmake: this one unless the folder says otherwise.
set(CMAKE_INSTALL_DEFAULT_COMPONENT_NAME development)
if(NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
  set(CMAKE_BUILD_TYPE RelWithDebInfo CACHE STRING "Build type" FORCE)
endif()

# Reports name source files from the root of this tree, also when a compiler cache makes paths relative to the build.
file(RELATIVE_PATH source_from_build "${CMAKE_BINARY_DIR}" "${PROJECT_SOURCE_DIR}")
string(REGEX REPLACE "/$" "" source_from_build "${source_from_build}")

add_library(dataio-settings INTERFACE)
target_compile_features(dataio-settings INTERFACE cxx_std_20)
# IEEE arithmetic is part of the format's rules: results are the same on every machine, bit for bit.
target_compile_options(dataio-settings INTERFACE
  -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Wsign-compare
  -fno-fast-math -ffp-contract=off
  "-fmacro-prefix-map=${PROJECT_SOURCE_DIR}/=" "-fmacro-prefix-map=${source_from_build}/="
  $<$<BOOL:${DATAIO_WERROR}>:-Werror>)
target_compile_definitions(dataio-settings INTERFACE
  _FILE_OFFSET_BITS=64 QT_NO_CAST_FROM_ASCII QT_NO_CAST_TO_ASCII QT_NO_KEYWORDS
  $<$<CONFIG:Debug>:_GLIBCXX_ASSERTIONS>)
target_include_directories(dataio-settings INTERFACE "${PROJECT_SOURCE_DIR}")
if(DATAIO_SANITIZE) # a list with commas, which a generator expression would take apart
  target_compile_definitions(dataio-settings INTERFACE $<$<NOT:$<CONFIG:Debug>>:_GLIBCXX_ASSERTIONS>)
  target_compile_options(dataio-settings INTERFACE
    "-fsanitize=${DATAIO_SANITIZE}" -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_compile_definitions(dataio-settings INTERFACE _GLIBCXX_ASSERTIONS)
  target_link_options(dataio-settings INTERFACE "-fsanitize=${DATAIO_SANITIZE}")
endif()

# What nearly every source includes, and what takes longer than the source itself.
set(dataio_usual_headers <QString> <algorithm> <functional> <memory> <optional> <string> <vector>)

# dataio_public_library(<target> <name> <header>...)
#
# Makes DataIO::<name> of a shared library that others build against: its version, its public headers (installed
# under their place in the tree, each compiled alone by all_verify_interface_header_sets) and its place in the package.
function(dataio_public_library target name)
  add_library(DataIO::${name} ALIAS ${target})
  target_sources(${target} PUBLIC FILE_SET HEADERS BASE_DIRS "${PROJECT_SOURCE_DIR}" FILES ${ARGN})
  target_compile_features(${target} PUBLIC cxx_std_20)
  set_target_properties(${target} PROPERTIES
    VERSION ${PROJECT_VERSION}
    SOVERSION ${PROJECT_VERSION_MAJOR}
    EXPORT_NAME ${name}
    INSTALL_RPATH "$ORIGIN")
  if(NOT DATAIO_SANITIZE) # whose symbols come with the program
    target_link_options(${target} PRIVATE LINKER:--no-undefined)
  endif()
  install(TARGETS ${target} EXPORT DataIOTargets
    LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT libraries NAMELINK_COMPONENT development
    FILE_SET HEADERS DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/dataio")
endfunction()
