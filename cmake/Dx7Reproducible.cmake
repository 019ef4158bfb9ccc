# Equal sources give equal files: no path of the build machine gets into what is built.
include(CheckCXXCompilerFlag)

check_cxx_compiler_flag("-ffile-prefix-map=${PROJECT_SOURCE_DIR}=." DX7_HAS_FILE_PREFIX_MAP)
if(DX7_HAS_FILE_PREFIX_MAP)
  set(dx7_prefix_map -ffile-prefix-map)
else()
  set(dx7_prefix_map -fdebug-prefix-map)  # compilers before GCC 8 know this one, for debug information only
endif()
# The later one wins, and build folders are often inside the sources.
add_compile_options("${dx7_prefix_map}=${PROJECT_SOURCE_DIR}=." "${dx7_prefix_map}=${PROJECT_BINARY_DIR}=build")
if(CMAKE_SYSROOT)
  add_compile_options("${dx7_prefix_map}=${CMAKE_SYSROOT}=sysroot")
endif()
