# What Debian's packages are compiled and linked with against attacks on memory. scripts/package asks for it; what is
# built otherwise stays as small and as portable as it is. Flags of the compiler and linker are tried first:
# old ones know few of them. The macro needs no trial.
if(NOT DX7_HARDENING)
  return()
endif()

include(CheckCXXCompilerFlag)
include(CheckCXXSourceCompiles)
include(CheckPIESupported)

check_cxx_compiler_flag(-fstack-protector-strong DX7_HAS_STACK_PROTECTOR_STRONG)
set(DX7_HARDENING_OPTIONS "")
if(DX7_HAS_STACK_PROTECTOR_STRONG)
  list(APPEND DX7_HARDENING_OPTIONS -fstack-protector-strong)
else()
  check_cxx_compiler_flag(-fstack-protector DX7_HAS_STACK_PROTECTOR)
  if(DX7_HAS_STACK_PROTECTOR)
    list(APPEND DX7_HARDENING_OPTIONS -fstack-protector)  # GCC before 4.9
  endif()
endif()

check_cxx_compiler_flag(-fstack-clash-protection DX7_HAS_STACK_CLASH_PROTECTION)
if(DX7_HAS_STACK_CLASH_PROTECTION)
  list(APPEND DX7_HARDENING_OPTIONS -fstack-clash-protection)
endif()

# FORTIFY needs an optimising compiler.
if(NOT CMAKE_BUILD_TYPE STREQUAL "Debug")
  list(APPEND DX7_HARDENING_OPTIONS -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2)
endif()
add_compile_options(${DX7_HARDENING_OPTIONS})

set(CMAKE_REQUIRED_LINK_OPTIONS -Wl,-z,relro,-z,now)
check_cxx_source_compiles("int main() { return 0; }" DX7_HAS_FULL_RELRO)
unset(CMAKE_REQUIRED_LINK_OPTIONS)
if(DX7_HAS_FULL_RELRO)
  add_link_options(-Wl,-z,relro,-z,now)
endif()

# Programs are compiled as position independent in any case; this links them so where the compiler does not by itself.
check_pie_supported(LANGUAGES CXX)
