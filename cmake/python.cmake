# The Python package: the extension over the host, and the package's Python files beside it.
pybind11_add_module(_vlmathdsp MODULE python/binding.cpp python/convert.cpp python/fast_calls.cpp python/half_spectrum.cpp python/interrupt.cpp)
target_link_libraries(_vlmathdsp PRIVATE vlhost vlfl_fft)
set_target_properties(_vlmathdsp PROPERTIES LIBRARY_OUTPUT_DIRECTORY ${VLMATHDSP_PACKAGE_DIR})
add_dependencies(_vlmathdsp vlmathdsp ${VLMATHDSP_VARIANTS})

# The package's Python files, subpackages included, copied beside the extension.
file(GLOB_RECURSE VLMATHDSP_PY_FILES CONFIGURE_DEPENDS RELATIVE ${CMAKE_SOURCE_DIR}/python/vlmathdsp
     ${CMAKE_SOURCE_DIR}/python/vlmathdsp/*.py ${CMAKE_SOURCE_DIR}/python/vlmathdsp/*.pyi
     ${CMAKE_SOURCE_DIR}/python/vlmathdsp/py.typed)
set(VLMATHDSP_PY_OUTPUTS)
foreach(file ${VLMATHDSP_PY_FILES})
  get_filename_component(folder ${VLMATHDSP_PACKAGE_DIR}/${file} DIRECTORY)
  add_custom_command(OUTPUT ${VLMATHDSP_PACKAGE_DIR}/${file}
    COMMAND ${CMAKE_COMMAND} -E make_directory ${folder}
    COMMAND ${CMAKE_COMMAND} -E copy ${CMAKE_SOURCE_DIR}/python/vlmathdsp/${file} ${VLMATHDSP_PACKAGE_DIR}/${file}
    DEPENDS ${CMAKE_SOURCE_DIR}/python/vlmathdsp/${file})
  list(APPEND VLMATHDSP_PY_OUTPUTS ${VLMATHDSP_PACKAGE_DIR}/${file})
endforeach()
add_custom_target(vlmathdsp_python ALL DEPENDS ${VLMATHDSP_PY_OUTPUTS} COMMENT "Assembling the vlmathdsp package")
# The package target is the whole importable package: its Python files and what they load.
add_dependencies(vlmathdsp_python _vlmathdsp)
