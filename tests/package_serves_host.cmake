# Installs the build into a scratch folder, builds a host against it by the CMake package, and runs it.
set(scratch "${BUILD}/package_test")
file(REMOVE_RECURSE "${scratch}")
function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE failed OUTPUT_VARIABLE output ERROR_VARIABLE output)
  if(failed)
    message(FATAL_ERROR "${ARGN}\n${output}")
  endif()
endfunction()
get_filename_component(example "${SOURCE}/../../docs/example.cpp" ABSOLUTE)
file(STRINGS "${BUILD}/CMakeCache.txt" flags REGEX "^CMAKE_CXX_FLAGS:")
string(REGEX REPLACE "^[^=]*=" "" flags "${flags}") # a sanitized library needs a sanitized host
run("${CMAKE_COMMAND}" --install "${BUILD}" --prefix "${scratch}/prefix")
run("${CMAKE_COMMAND}" -S "${SOURCE}" -B "${scratch}/host" "-DCMAKE_PREFIX_PATH=${scratch}/prefix" "-DEXAMPLE=${example}"
    "-DCMAKE_CXX_FLAGS=${flags}")
run("${CMAKE_COMMAND}" --build "${scratch}/host")
run("${scratch}/host/host")
