# The Python package: the extension over the host, and the package's Python files beside it.
pybind11_add_module(_vlmathdsp MODULE python/binding.cpp python/convert.cpp python/fast_calls.cpp python/half_spectrum.cpp)
target_link_libraries(_vlmathdsp PRIVATE vlhost vlfl_fft)
set_target_properties(_vlmathdsp PROPERTIES LIBRARY_OUTPUT_DIRECTORY ${VLMATHDSP_PACKAGE_DIR})
add_dependencies(_vlmathdsp vlmathdsp ${VLMATHDSP_VARIANTS})

file(GLOB VLMATHDSP_PY_FILES CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/python/vlmathdsp/*.py
     ${CMAKE_SOURCE_DIR}/python/vlmathdsp/*.pyi ${CMAKE_SOURCE_DIR}/python/vlmathdsp/py.typed)
file(GLOB VLMATHDSP_SCIPY_PY_FILES CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/python/vlmathdsp/scipy/*.py
     ${CMAKE_SOURCE_DIR}/python/vlmathdsp/scipy/*.pyi)
file(GLOB VLMATHDSP_DASK_PY_FILES CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/python/vlmathdsp/dask/*.py
     ${CMAKE_SOURCE_DIR}/python/vlmathdsp/dask/*.pyi)
add_custom_target(vlmathdsp_python ALL
  COMMAND ${CMAKE_COMMAND} -E make_directory ${VLMATHDSP_PACKAGE_DIR}/scipy
  COMMAND ${CMAKE_COMMAND} -E copy_if_different ${VLMATHDSP_PY_FILES} ${VLMATHDSP_PACKAGE_DIR}
  COMMAND ${CMAKE_COMMAND} -E copy_if_different ${VLMATHDSP_SCIPY_PY_FILES} ${VLMATHDSP_PACKAGE_DIR}/scipy
  COMMAND ${CMAKE_COMMAND} -E make_directory ${VLMATHDSP_PACKAGE_DIR}/dask
  COMMAND ${CMAKE_COMMAND} -E copy_if_different ${VLMATHDSP_DASK_PY_FILES} ${VLMATHDSP_PACKAGE_DIR}/dask
  DEPENDS ${VLMATHDSP_PY_FILES} ${VLMATHDSP_SCIPY_PY_FILES} ${VLMATHDSP_DASK_PY_FILES}
  COMMENT "Assembling the vlmathdsp package")
