# Compiler flags. Kernels multiply and add in two roundings, never fused, and no fast-math,
# so results are the same on every path and thread count.
set(CMAKE_CXX_STANDARD 17)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)

add_compile_options(-ffp-contract=off -fno-fast-math -Wall -Wextra -Wno-unused-parameter)
# The kernels' 64-byte vector types pass between inline functions only: no ABI to keep.
add_compile_options(-Wno-psabi)
set(CMAKE_CXX_FLAGS_RELEASE "-O3 -DNDEBUG")

# Portable by default: baseline x86-64, with copies of the library for AVX2 and AVX-512 that the
# host picks from at run time (see library.cmake). VLMATHDSP_NATIVE builds one library for this
# machine's instruction set instead.
option(VLMATHDSP_NATIVE "Build for the building machine's instruction set only" OFF)
option(VLMATHDSP_ISA_VARIANTS "Also build the library for x86-64-v3 and x86-64-v4" ON)
if(VLMATHDSP_NATIVE)
  add_compile_options(-march=native)
endif()

option(VLMATHDSP_WERROR "Treat warnings as errors" OFF)
if(VLMATHDSP_WERROR)
  add_compile_options(-Werror)
endif()

# -DVLMATHDSP_SANITIZE=address,undefined builds everything instrumented.
set(VLMATHDSP_SANITIZE "" CACHE STRING "Sanitizers to build with: empty, or a list such as address,undefined")
if(VLMATHDSP_SANITIZE)
  if(NOT VLMATHDSP_SANITIZE MATCHES "^(address|undefined|thread|leak)(,(address|undefined|thread|leak))*$")
    message(FATAL_ERROR "VLMATHDSP_SANITIZE: unknown sanitizer list '${VLMATHDSP_SANITIZE}'")
  endif()
  # -O1 keeps the instrumented test suites within minutes; every finding stops the run.
  add_compile_options(-fsanitize=${VLMATHDSP_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all -O1)
  add_link_options(-fsanitize=${VLMATHDSP_SANITIZE})
endif()

# -DVLMATHDSP_COVERAGE=ON counts the lines run (gcov), for scripts/coverage.sh.
option(VLMATHDSP_COVERAGE "Build with line coverage counters" OFF)
if(VLMATHDSP_COVERAGE)
  add_compile_options(--coverage -fprofile-update=atomic -O0)
  add_link_options(--coverage)
endif()
