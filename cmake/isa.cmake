# vl_isa_kernels(<target> <source>...): the sources compiled into <target> once per
# instruction-set level, each copy with VL_ISA naming its namespace (see common/isa.hpp).
set(VL_ISA_LEVELS baseline x86-64-v3 x86-64-v4)
set(VL_ISA_NAMESPACES isa_baseline isa_v3 isa_v4)
function(vl_isa_kernels target)
  foreach(level namespace IN ZIP_LISTS VL_ISA_LEVELS VL_ISA_NAMESPACES)
    set(objects ${target}_${namespace})
    add_library(${objects} OBJECT ${ARGN})
    target_include_directories(${objects} PRIVATE ${CMAKE_SOURCE_DIR})
    target_compile_definitions(${objects} PRIVATE VL_ISA=${namespace})
    # -mno-fma: the compiler's own expansions (unsigned to float conversions, for one) fuse where
    # the target can, -ffp-contract=off notwithstanding.
    if(NOT level STREQUAL "baseline")
      target_compile_options(${objects} PRIVATE -march=${level} -mno-fma)
    endif()
    target_sources(${target} PRIVATE $<TARGET_OBJECTS:${objects}>)
    set_property(GLOBAL APPEND PROPERTY VL_ISA_OBJECT_LIBRARIES ${objects})
  endforeach()
endfunction()
