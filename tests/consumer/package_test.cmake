# Installs the build tree, moves the installed tree, builds the consumer project against it and runs its programs.
#
# Needs SOURCE_DIR and BUILD_DIR of the project, WORK_DIR for everything made here, and LIBRARY_FOLDER, GENERATOR,
# COMPILER, BUILD_TYPE, SANITIZE and TOOLS as the build tree has them.

function(run)
  execute_process(COMMAND ${ARGV} RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
  if(NOT result EQUAL 0)
    list(JOIN ARGV " " command)
    message(FATAL_ERROR "${command}\nended with ${result}:\n${output}")
  endif()
endfunction()

# Exactly the public headers are installed: every header of the three folders that is not private.
function(check_headers prefix)
  foreach(folder IN ITEMS log common libdataio recording)
    file(GLOB public RELATIVE "${SOURCE_DIR}" "${SOURCE_DIR}/${folder}/*.h")
    list(FILTER public EXCLUDE REGEX "_p\\.h$")
    list(APPEND expected ${public})
  endforeach()
  file(GLOB_RECURSE installed RELATIVE "${prefix}/include/dataio" "${prefix}/include/*")
  list(SORT expected)
  list(SORT installed)
  if(NOT installed STREQUAL expected)
    message(FATAL_ERROR "installed headers:\n${installed}\npublic headers:\n${expected}")
  endif()
endfunction()

function(check_libraries libraries)
  foreach(name IN ITEMS libdataio libdataio-common libdataio-log libdataio-recording)
    if(NOT EXISTS "${libraries}/${name}.so.1")
      message(FATAL_ERROR "${name}.so.1 is not installed")
    endif()
  endforeach()
endfunction()

function(build_consumer prefix libraries)
  set(flags "")
  if(SANITIZE)
    set(flags "-fsanitize=${SANITIZE}")
  endif()
  run("${CMAKE_COMMAND}" -E env "PKG_CONFIG_PATH=${libraries}/pkgconfig"
    "${CMAKE_COMMAND}" -S "${SOURCE_DIR}/tests/consumer" -B "${WORK_DIR}/build" -G "${GENERATOR}"
    "-DCMAKE_PREFIX_PATH=${prefix}" "-DCMAKE_BUILD_TYPE=${BUILD_TYPE}" "-DCMAKE_CXX_COMPILER=${COMPILER}"
    "-DCMAKE_CXX_FLAGS=${flags}")
  run("${CMAKE_COMMAND}" --build "${WORK_DIR}/build")
endfunction()

file(REMOVE_RECURSE "${WORK_DIR}")
run("${CMAKE_COMMAND}" --install "${BUILD_DIR}" --prefix "${WORK_DIR}/installed")
# A path of the first place that is left in the package would now be found out.
file(RENAME "${WORK_DIR}/installed" "${WORK_DIR}/moved")
set(prefix "${WORK_DIR}/moved")
set(libraries "${prefix}/${LIBRARY_FOLDER}")

check_headers("${prefix}")
check_libraries("${libraries}")
build_consumer("${prefix}" "${libraries}")
run("${WORK_DIR}/build/by_package" "${WORK_DIR}/by_package.vqf")
run("${CMAKE_COMMAND}" -E env "LD_LIBRARY_PATH=${libraries}"
  "${WORK_DIR}/build/by_pkgconfig" "${WORK_DIR}/by_pkgconfig.vqf")
run("${WORK_DIR}/build/palette")
run("${WORK_DIR}/build/series" "${WORK_DIR}/series.vqf")
run("${CMAKE_COMMAND}" -E env "LD_LIBRARY_PATH=${libraries}"
  "${WORK_DIR}/build/series_by_pkgconfig" "${WORK_DIR}/series_by_pkgconfig.vqf")
if(TOOLS)
  run("${prefix}/bin/vqf" info "${WORK_DIR}/by_package.vqf")
  foreach(text IN ITEMS man/man1/vqf.1.gz man/man5/vqf.5.gz bash-completion/completions/vqf
      zsh/site-functions/_vqf fish/vendor_completions.d/vqf.fish)
    if(NOT EXISTS "${prefix}/share/${text}")
      message(FATAL_ERROR "share/${text} is not installed")
    endif()
  endforeach()
endif()
