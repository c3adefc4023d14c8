# The Debian packages, made by cpack; scripts/package calls it. Each holds what one component installs.
set(maintainer "The DataIO maintainers <maintainers@dataio.invalid>")

# dataio_debian_package(<component> <package> SECTION <section> SUMMARY <text> DESCRIPTION <text>
#                       [DEPENDS <relation>...] [RECOMMENDS <relation>...])
#
# Libraries that programs are linked with are found by dpkg-shlibdeps and need not be named.
function(dataio_debian_package component package)
  cmake_parse_arguments(PARSE_ARGV 2 arg "" "SECTION;SUMMARY;DESCRIPTION" "DEPENDS;RECOMMENDS")
  string(TOUPPER ${component} key)
  list(JOIN arg_DEPENDS ", " depends)
  list(JOIN arg_RECOMMENDS ", " recommends)
  foreach(pair IN ITEMS
      "PACKAGE_NAME=${package}" "PACKAGE_SECTION=${arg_SECTION}" "PACKAGE_DEPENDS=${depends}"
      "PACKAGE_RECOMMENDS=${recommends}")
    string(REGEX MATCH "^([A-Z_]+)=(.*)$" matched "${pair}")
    set(CPACK_DEBIAN_${key}_${CMAKE_MATCH_1} "${CMAKE_MATCH_2}" PARENT_SCOPE)
  endforeach()
  set(CPACK_DEBIAN_${key}_DESCRIPTION "${arg_SUMMARY}\n${arg_DESCRIPTION}" PARENT_SCOPE)
  set(packaged_components ${packaged_components} ${component} PARENT_SCOPE)
  install(FILES "${PROJECT_BINARY_DIR}/debian/copyright" "${PROJECT_BINARY_DIR}/debian/${package}/changelog.Debian.gz"
    DESTINATION "${CMAKE_INSTALL_DATADIR}/doc/${package}" COMPONENT ${component})
  dataio_debian_changelog(${package})
endfunction()

# The package's changelog as Debian wants it, compressed; what changed is told in CHANGELOG.md.
function(dataio_debian_changelog package)
  set(folder "${PROJECT_BINARY_DIR}/debian/${package}")
  string(TIMESTAMP date "%a, %d %b %Y %H:%M:%S +0000" UTC)
  file(WRITE "${folder}/changelog.Debian" "dataio (${debian_version}) unstable; urgency=medium

  * Release ${PROJECT_VERSION}.

 -- ${maintainer}  ${date}
")
  execute_process(COMMAND gzip -9nf "${folder}/changelog.Debian" COMMAND_ERROR_IS_FATAL ANY)
endfunction()

set(debian_version "${PROJECT_VERSION}-1")
file(WRITE "${PROJECT_BINARY_DIR}/debian/copyright"
"Format: https://www.debian.org/doc/packaging-manuals/copyright-format/1.0/
Upstream-Name: DataIO
Upstream-Contact: ${maintainer}

Files: *
Copyright: 2026 The DataIO maintainers
License: not-stated
 No licence has been stated. Ask the maintainers before you copy, change or pass on this software.
")

set(about "VQF movies are image sequences from laser-scanning microscopes that look
through a bundle of optical fibres, with times, laser powers and the places of
the fibres.
.
")
set(same_version "(= ${debian_version})")
dataio_debian_package(libraries libdataio1 SECTION libs
  SUMMARY "creates, reads and edits VQF movies (libraries)"
  DESCRIPTION "${about}This package holds the shared libraries.")
# Programs linked with the libraries depend on this package, and the linker's cache is brought up to date.
set(control "${PROJECT_BINARY_DIR}/debian/control")
file(WRITE "${control}/triggers" "activate-noawait ldconfig\n")
foreach(name IN ITEMS libdataio libdataio-common libdataio-log libdataio-recording)
  list(APPEND shlibs "${name} ${PROJECT_VERSION_MAJOR} libdataio1 (>= ${PROJECT_VERSION})\n")
endforeach()
list(JOIN shlibs "" shlibs)
file(WRITE "${control}/shlibs" "${shlibs}")
set(CPACK_DEBIAN_LIBRARIES_PACKAGE_CONTROL_EXTRA "${control}/shlibs" "${control}/triggers")
dataio_debian_package(development libdataio-dev SECTION libdevel
  DEPENDS "libdataio1 ${same_version}" "qt6-base-dev (>= ${DATAIO_QT_VERSION})"
  SUMMARY "creates, reads and edits VQF movies (development files)"
  DESCRIPTION "${about}This package holds the headers, the CMake package DataIO and the pkg-config
files dataio and dataio-recording.")
dataio_debian_package(tools vqf-tools SECTION science
  DEPENDS "libdataio1 ${same_version}" RECOMMENDS "ffmpeg" "fonts-dejavu-core"
  SUMMARY "imports, examines, edits, exports and recovers VQF movies"
  DESCRIPTION "${about}This package holds the program vqf.")
if(DATAIO_DESKTOP)
  dataio_debian_package(desktop dataio-desktop SECTION science
    DEPENDS "libdataio1 ${same_version}" "vqf-tools ${same_version}" RECOMMENDS "shared-mime-info"
    SUMMARY "shows VQF movies in file managers and image viewers"
    DESCRIPTION "${about}This package tells the desktop the type of these files, lets file managers
draw thumbnails of them, and lets programs that show images with Qt show their
frames.")
endif()
if(DATAIO_DESKTOP AND DATAIO_QT5)
  dataio_debian_package(desktopqt5 dataio-desktop-qt5 SECTION science
    DEPENDS "dataio-desktop ${same_version}"
    SUMMARY "shows VQF movies in programs built on Qt 5"
    DESCRIPTION "${about}This package lets programs that show images with Qt 5 show their frames.")
endif()
if(DATAIO_PYTHON)
  dataio_debian_package(python python3-vqf SECTION python
    DEPENDS "libdataio1 ${same_version}" "python3 (>= 3.11)" "python3 (<< 3.12)" "python3-numpy"
    SUMMARY "creates, reads and edits VQF movies from Python"
    DESCRIPTION "${about}This package holds the module vqf, which hands frames over as NumPy arrays.")
  set(CPACK_DEBIAN_PYTHON_PACKAGE_CONTROL_EXTRA
    "${PROJECT_SOURCE_DIR}/cmake/debian/python3-vqf/postinst" "${PROJECT_SOURCE_DIR}/cmake/debian/python3-vqf/prerm")
endif()

set(CPACK_GENERATOR DEB)
set(CPACK_COMPONENTS_ALL ${packaged_components})
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "") # each package has its own
set(CPACK_PACKAGE_CONTACT "${maintainer}")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE
  WORLD_READ WORLD_EXECUTE)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS
  "${PROJECT_BINARY_DIR}/recording" "${PROJECT_BINARY_DIR}/libdataio" "${PROJECT_BINARY_DIR}/common"
  "${PROJECT_BINARY_DIR}/log")
set(CPACK_OUTPUT_FILE_PREFIX "${PROJECT_BINARY_DIR}/packages")
include(CPack)
