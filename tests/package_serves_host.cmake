# Installs the build into a scratch folder, builds a host against it by the CMake package and by
# pkg-config, and runs both.
set(scratch "${BUILD}/package_test")
file(REMOVE_RECURSE "${scratch}")
function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE failed OUTPUT_VARIABLE output ERROR_VARIABLE output)
  if(failed)
    message(FATAL_ERROR "${ARGN}\n${output}")
  endif()
endfunction()
get_filename_component(example "${SOURCE}/../../docs/example.cpp" ABSOLUTE)
run("${CMAKE_COMMAND}" --install "${BUILD}" --prefix "${scratch}/prefix")
run("${CMAKE_COMMAND}" -G "${GENERATOR}" -S "${SOURCE}" -B "${scratch}/host" "-DCMAKE_PREFIX_PATH=${scratch}/prefix"
    "-DEXAMPLE=${example}" "-DCMAKE_CXX_FLAGS=${FLAGS}")
run("${CMAKE_COMMAND}" --build "${scratch}/host")
run("${scratch}/host/host")

separate_arguments(flags UNIX_COMMAND "${FLAGS}")
set(package "${scratch}/prefix/${LIBDIR}/pkgconfig/norvane.pc")
execute_process(COMMAND pkg-config --cflags --libs "${package}"
                OUTPUT_VARIABLE usage OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
separate_arguments(usage UNIX_COMMAND "${usage}")
run("${COMPILER}" -std=c++17 ${flags} "${example}" ${usage} "-Wl,-rpath,${scratch}/prefix/${LIBDIR}"
    -o "${scratch}/host_by_pkg_config")
run("${scratch}/host_by_pkg_config")

# Hosts in C, and in a language that calls C. A static library would need the linker of C++.
if(SHARED)
  get_filename_component(root "${SOURCE}/../.." ABSOLUTE)
  run(cc -std=c99 -Wall -Wextra -pedantic -Werror ${flags} "${root}/docs/example.c" ${usage}
      "-Wl,-rpath,${scratch}/prefix/${LIBDIR}" -o "${scratch}/host_in_c")
  run("${scratch}/host_in_c")
  if(NOT FLAGS MATCHES "fsanitize") # the interpreter is not sanitized
    run(python3 "${root}/python/examples/masks_by_ctypes.py" "${scratch}/prefix/${LIBDIR}/libnorvane.so")
  endif()
endif()
