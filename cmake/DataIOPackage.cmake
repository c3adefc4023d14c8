# The installed package: what find_package(DataIO CONFIG) and pkg-config read.
include(CMakePackageConfigHelpers)

set(package_dir "${CMAKE_INSTALL_LIBDIR}/cmake/DataIO")
configure_package_config_file(cmake/DataIOConfig.cmake.in DataIOConfig.cmake INSTALL_DESTINATION "${package_dir}")
write_basic_package_version_file(DataIOConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(EXPORT DataIOTargets NAMESPACE DataIO:: DESTINATION "${package_dir}")
install(FILES
  "${PROJECT_BINARY_DIR}/DataIOConfig.cmake" "${PROJECT_BINARY_DIR}/DataIOConfigVersion.cmake"
  DESTINATION "${package_dir}")

# The prefix is given relative to the file, so that the installed tree can be moved.
file(RELATIVE_PATH pc_prefix "${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig" "${CMAKE_INSTALL_PREFIX}")
cmake_path(APPEND pc_libdir "\${prefix}" "${CMAKE_INSTALL_LIBDIR}")
cmake_path(APPEND pc_includedir "\${prefix}" "${CMAKE_INSTALL_INCLUDEDIR}" dataio)
string(REGEX REPLACE "/$" "" pc_prefix "${pc_prefix}")
foreach(name IN ITEMS dataio dataio-recording)
  configure_file(cmake/${name}.pc.in ${name}.pc @ONLY)
endforeach()
install(FILES "${PROJECT_BINARY_DIR}/dataio.pc" "${PROJECT_BINARY_DIR}/dataio-recording.pc"
  DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig")
