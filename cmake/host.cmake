# The open host: libvlhost.
add_library(vlhost SHARED
  host/array.cpp
  host/call_frame.cpp
  host/catalogue.cpp
  host/convert.cpp
  host/embed.cpp
  host/errors.cpp
  host/interrupt.cpp
  host/matmul.cpp
  host/memory.cpp
  host/packages.cpp
  host/permute.cpp
  host/shape.cpp
  host/text.cpp
  host/cores.cpp
  host/threads.cpp
  host/usm.cpp
  host/worker_pinning.cpp)
target_include_directories(vlhost PUBLIC $<BUILD_INTERFACE:${CMAKE_SOURCE_DIR}>)
target_link_libraries(vlhost PUBLIC TBB::tbb PRIVATE vl_openblas ${CMAKE_DL_LIBS} Threads::Threads)
# Calls within the host bind to its own functions (none is meant to be interposed), so that the
# small ones inline into the hot paths.
target_compile_options(vlhost PRIVATE -fno-semantic-interposition)
# Its hot loops, once per instruction-set level.
vl_isa_kernels(vlhost host/kernels/convert.cpp host/kernels/gemv.cpp host/kernels/transpose.cpp)
