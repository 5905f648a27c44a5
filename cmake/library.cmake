# The library: its code as a static archive (linked by the unit tests too), and the shared
# library that exports exactly six symbols. Portable builds add copies of both for newer
# instruction sets, libvlmathdsp-x86-64-v3.so (AVX2) and -v4.so (AVX-512), from the same sources;
# the host loads the best one the processor runs (vlhost::bestModuleVariant).
set(VLMATHDSP_SOURCES
  conv/conv2.cpp
  conv/conv2_paths.cpp
  conv/convn_driver.cpp
  conv/convnc.cpp
  conv/batch_correlation.cpp
  conv/conv5d.cpp
  conv/strided_convn.cpp
  conv/conv_part.cpp
  conv/strided_driver.cpp
  conv/kernels/dim_plan.cpp
  conv/parallel/workspace.cpp
  conv/separable.cpp
  dcst/dcst1d.cpp
  dcst/dcst_pass.cpp
  dcst/dcstn.cpp
  dcst/entries.cpp
  dcst/plan_container.cpp
  filter/divide.cpp
  fourier/fft1d.cpp
  fourier/fft_pass.cpp
  fourier/fftn.cpp
  fourier/fftw_control.cpp
  fourier/plan_container.cpp
  fourier/resize.cpp
  filter/filter.cpp
  module/argument_helpers.cpp
  module/builtin_table.cpp
  module/registration.cpp
  network/arguments.cpp
  network/conv_forward.cpp
  network/conv_backward.cpp
  network/gradient.cpp
  network/pool_forward.cpp
  network/pool_backward.cpp
  network/window_norm.cpp
  network/folded_gradient.cpp
  statespace/ltitr.cpp)
set(VLMATHDSP_EXPORT_MAP ${CMAKE_SOURCE_DIR}/module/exports.map)

# vlmathdsp_library(<suffix> <-march value or empty>): vlmathdsp_core<suffix> and vlmathdsp<suffix>.
function(vlmathdsp_library suffix march)
  add_library(vlmathdsp_core${suffix} STATIC ${VLMATHDSP_SOURCES})
  target_include_directories(vlmathdsp_core${suffix} PUBLIC ${CMAKE_SOURCE_DIR})
  target_compile_options(vlmathdsp_core${suffix} PUBLIC -fvisibility=hidden -fvisibility-inlines-hidden)
  target_link_libraries(vlmathdsp_core${suffix} PUBLIC vlhost vlfl_fft ${FFTW3_LIBRARY} ${FFTW3F_LIBRARY}
                        Boost::headers Boost::thread vl_openblas TBB::tbb)
  add_library(vlmathdsp${suffix} SHARED module/exports.cpp)
  target_compile_definitions(vlmathdsp${suffix} PRIVATE VLMATHDSP_VERSION="${PROJECT_VERSION}")
  target_link_libraries(vlmathdsp${suffix} PRIVATE vlmathdsp_core${suffix})
  target_link_options(vlmathdsp${suffix} PRIVATE -Wl,--version-script=${VLMATHDSP_EXPORT_MAP})
  if(NOT VLMATHDSP_LIBFUZZER)  # clang leaves the sanitizers' runtime to the executable
    target_link_options(vlmathdsp${suffix} PRIVATE -Wl,--no-undefined)
  endif()
  set_target_properties(vlmathdsp${suffix} PROPERTIES LINK_DEPENDS ${VLMATHDSP_EXPORT_MAP})
  if(march)
    target_compile_options(vlmathdsp_core${suffix} PUBLIC -march=${march})
    string(REPLACE "_" "-" level ${suffix})
    set_target_properties(vlmathdsp${suffix} PROPERTIES OUTPUT_NAME vlmathdsp${level})
  endif()
endfunction()

vlmathdsp_library("" "")
set(VLMATHDSP_VARIANTS "")
if(VLMATHDSP_ISA_VARIANTS AND NOT VLMATHDSP_NATIVE)
  foreach(level x86-64-v3 x86-64-v4)
    string(REPLACE "-" "_" suffix "-${level}")
    vlmathdsp_library(${suffix} ${level})
    list(APPEND VLMATHDSP_VARIANTS vlmathdsp${suffix})
  endforeach()
endif()
