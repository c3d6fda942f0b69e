# Cross-compiles for 64-bit Windows by mingw-w64. Programs that the build runs, such as tests, run under Wine.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(CMAKE_C_COMPILER x86_64-w64-mingw32-gcc-posix)
set(CMAKE_CXX_COMPILER x86_64-w64-mingw32-g++-posix)
set(CMAKE_RC_COMPILER x86_64-w64-mingw32-windres)
find_program(WINE NAMES wine64 wine64-stable wine PATHS /usr/lib/wine NO_CACHE)
set(CMAKE_CROSSCOMPILING_EMULATOR ${WINE})
list(APPEND CMAKE_FIND_ROOT_PATH /usr/x86_64-w64-mingw32) # beside what -DCMAKE_FIND_ROOT_PATH names
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
# The runtime of GCC is inside, so that the DLL needs nothing that Windows does not have.
set(CMAKE_SHARED_LINKER_FLAGS_INIT -static)
set(CMAKE_EXE_LINKER_FLAGS_INIT -static)
