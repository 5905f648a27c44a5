# The transform library over FFTW, double and single, with FFTW's threads on TBB.
find_library(FFTW3_LIBRARY NAMES fftw3 REQUIRED)
find_library(FFTW3F_LIBRARY NAMES fftw3f REQUIRED)
find_library(FFTW3_THREADS_LIBRARY NAMES fftw3_threads REQUIRED)
find_library(FFTW3F_THREADS_LIBRARY NAMES fftw3f_threads REQUIRED)

add_library(vlfl_fft SHARED fftlib/dcst.cpp fftlib/dct_by_fft.cpp fftlib/fft_c2c.cpp fftlib/fft_c2r.cpp fftlib/fft_r2c.cpp fftlib/fftw_api.cpp)
target_include_directories(vlfl_fft PUBLIC ${CMAKE_SOURCE_DIR})
target_link_libraries(vlfl_fft PUBLIC TBB::tbb
  PRIVATE ${FFTW3_THREADS_LIBRARY} ${FFTW3F_THREADS_LIBRARY} ${FFTW3_LIBRARY} ${FFTW3F_LIBRARY} Threads::Threads)
