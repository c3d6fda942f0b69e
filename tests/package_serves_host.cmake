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

# Hosts in C, and in languages that call C. A static library would need the linker of C++.
if(SHARED)
  set(library_folder "${scratch}/prefix/${LIBDIR}")
  get_filename_component(root "${SOURCE}/../.." ABSOLUTE)
  run(cc -std=c99 -Wall -Wextra -pedantic -Werror ${flags} "${root}/docs/example.c" ${usage}
      "-Wl,-rpath,${library_folder}" -o "${scratch}/host_in_c")
  run("${scratch}/host_in_c")
  if(NOT FLAGS MATCHES "fsanitize") # these hosts are not sanitized
    run(python3 "${root}/python/examples/masks_by_ctypes.py" "${library_folder}/libnorvane.so")
    run(mcs "-out:${scratch}/host.exe" "${root}/docs/example.cs")
    run("${CMAKE_COMMAND}" -E env "LD_LIBRARY_PATH=${library_folder}" mono "${scratch}/host.exe")
    find_program(rustc rustc PATHS /usr/bin NO_DEFAULT_PATH REQUIRED) # Debian's, even if another one is first in PATH
    run(${rustc} -D warnings -L "${library_folder}" -C "link-arg=-Wl,-rpath,${library_folder}" -o "${scratch}/host_in_rust"
        "${root}/docs/example.rs")
    run("${scratch}/host_in_rust")
  endif()
endif()
