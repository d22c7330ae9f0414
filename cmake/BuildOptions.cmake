# Compiler, linker and folder settings that every target shares.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bin)
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bin)
set(CMAKE_BUILD_RPATH_USE_ORIGIN ON)

option(ZENTARA_TESTS "Build the tests" ON)
option(ZENTARA_BENCHMARKS "Build the benchmarks" OFF)
option(ZENTARA_FUZZ "Build the fuzz targets; needs clang" OFF)
set(ZENTARA_SANITIZER "" CACHE STRING "Value for -fsanitize, for example address,undefined")

find_program(CCACHE ccache)
if(CCACHE)
  # Without this sloppiness every change of a precompiled header's time stamp
  # would be a cache miss.
  # The base folder lets clones and work trees share what was compiled.
  set(CMAKE_CXX_COMPILER_LAUNCHER
      env CCACHE_SLOPPINESS=pch_defines,time_macros,include_file_mtime,include_file_ctime
      CCACHE_BASEDIR=${CMAKE_SOURCE_DIR} CCACHE_NOHASHDIR=1 ${CCACHE})
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    add_compile_options($<$<COMPILE_LANGUAGE:CXX>:-fpch-preprocess>)
  endif()
endif()
find_program(MOLD mold)
if(MOLD)
  add_link_options(-fuse-ld=mold)
endif()

add_compile_options(-Wall -Wextra -Wpedantic -Werror -Wnon-virtual-dtor -Wold-style-cast)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  add_compile_options(-Wshadow=local)
  # GCC 12 reports these in its own std::string once it inlines (GCC bugs 105329
  # and 105651).
  add_compile_options(-Wno-array-bounds -Wno-restrict -Wno-stringop-overflow -Wno-stringop-overread)
endif()
set(CMAKE_CXX_FLAGS_DEBUG "-g1 -O1")
set(CMAKE_CXX_FLAGS_RELEASE "-O2 -DNDEBUG")

if(ZENTARA_SANITIZER)
  add_compile_options(-fsanitize=${ZENTARA_SANITIZER} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${ZENTARA_SANITIZER})
  # GCC's inlining under sanitizers produces false maybe-uninitialized reports in the standard library.
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    add_compile_options(-Wno-maybe-uninitialized -Wno-tsan)
  endif()
endif()

if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
  # The annotations of mutexes say what each guards.
  add_compile_options(-Wthread-safety -Werror=thread-safety)
endif()
if(ZENTARA_FUZZ)
  add_compile_options(-fsanitize=fuzzer-no-link)
endif()
