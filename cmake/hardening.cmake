# Hardening for everything that is linked to norvane_hardening. If the compiler does not know a flag, it is left out.
include(CheckCXXCompilerFlag)
include(CheckCXXSourceCompiles)
include(CheckLinkerFlag)
include(CheckPIESupported)

add_library(norvane_hardening INTERFACE)
if(EMSCRIPTEN)
  return() # the engine that runs WebAssembly does all this
endif()
target_compile_options(norvane_hardening INTERFACE -Wformat -Werror=format-security)
set(flags stack-protector-strong)
if(WIN32) # the stack is probed anyway, and GCC 12 crashes on -fstack-clash-protection
  target_link_options(norvane_hardening INTERFACE -fstack-protector-strong) # links its runtime
else()
  list(APPEND flags stack-clash-protection cf-protection)
endif()
foreach(flag IN LISTS flags)
  check_cxx_compiler_flag(-f${flag} norvane_has_${flag})
  if(norvane_has_${flag})
    target_compile_options(norvane_hardening INTERFACE -f${flag})
  endif()
endforeach()
foreach(flag relro now noexecstack)
  check_linker_flag(CXX LINKER:-z,${flag} norvane_links_${flag})
  if(norvane_links_${flag})
    target_link_options(norvane_hardening INTERFACE LINKER:-z,${flag})
  endif()
endforeach()
check_pie_supported(LANGUAGES CXX)
set_target_properties(norvane_hardening PROPERTIES INTERFACE_POSITION_INDEPENDENT_CODE ON)

# Checked calls of the C library. They need optimisation. Sanitizers have their own checks, and some compilers define the
# macro themselves.
set(CMAKE_REQUIRED_FLAGS -O2)
check_cxx_source_compiles("
  #ifdef _FORTIFY_SOURCE
  #error defined
  #endif
  int main() {}" norvane_may_fortify)
set(CMAKE_REQUIRED_FLAGS "-O2 -Werror -D_FORTIFY_SOURCE=3")
check_cxx_source_compiles("#include <cstdlib>
  int main() {}" norvane_has_fortify_3)
unset(CMAKE_REQUIRED_FLAGS)
if(norvane_may_fortify AND NOT CMAKE_CXX_FLAGS MATCHES "fsanitize")
  foreach(type IN LISTS CMAKE_CONFIGURATION_TYPES CMAKE_BUILD_TYPE)
    string(TOUPPER ${type} upper)
    string(REGEX MATCHALL "-O[^ ]*" levels "-O0 ${CMAKE_CXX_FLAGS} ${CMAKE_CXX_FLAGS_${upper}}")
    list(POP_BACK levels level) # the last one counts
    if(NOT level STREQUAL "-O0")
      target_compile_definitions(norvane_hardening INTERFACE
        $<$<CONFIG:${type}>:_FORTIFY_SOURCE=$<IF:$<BOOL:${norvane_has_fortify_3}>,3,2>>)
    endif()
  endforeach()
endif()
