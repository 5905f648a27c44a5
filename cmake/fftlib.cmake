# The transform library over FFTW, double and single, with FFTW's threads on TBB.
find_library(FFTW3_LIBRARY NAMES fftw3 REQUIRED)
find_library(FFTW3F_LIBRARY NAMES fftw3f REQUIRED)
find_library(FFTW3_THREADS_LIBRARY NAMES fftw3_threads REQUIRED)
find_library(FFTW3F_THREADS_LIBRARY NAMES fftw3f_threads REQUIRED)

add_library(vlfl_fft SHARED fftlib/dcst.cpp fftlib/dct_by_fft.cpp fftlib/fft_c2c.cpp fftlib/fft_c2r.cpp fftlib/fft_r2c.cpp fftlib/fftw_api.cpp
  fftlib/half_spectrum.cpp fftlib/plan_store.cpp)
# Its own loops around FFTW's, once per instruction-set level.
vl_isa_kernels(vlfl_fft fftlib/kernels/dct_passes.cpp fftlib/kernels/loops.cpp)
# GCC 12's straight-line vectorizer turns the pairs a c + b d, a d - b c of the cosine
# transform's twiddles into fused multiply-adds (AVX-512's own, which -mno-fma leaves on),
# -ffp-contract=off notwithstanding; without it they keep their two roundings at every level.
set_source_files_properties(fftlib/kernels/dct_passes.cpp PROPERTIES COMPILE_OPTIONS -fno-tree-slp-vectorize)
target_include_directories(vlfl_fft PUBLIC ${CMAKE_SOURCE_DIR})
# The host's scope store keeps the plan containers.
target_link_libraries(vlfl_fft PUBLIC TBB::tbb vlhost
  PRIVATE ${FFTW3_THREADS_LIBRARY} ${FFTW3F_THREADS_LIBRARY} ${FFTW3_LIBRARY} ${FFTW3F_LIBRARY} Threads::Threads)
