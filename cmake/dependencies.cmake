# Dependencies, all from Debian's packages.
find_package(Threads REQUIRED)
find_package(TBB REQUIRED)
find_package(Boost 1.74 REQUIRED COMPONENTS thread)

find_library(OPENBLAS_LIBRARY NAMES openblas REQUIRED)
add_library(vl_openblas INTERFACE)
target_link_libraries(vl_openblas INTERFACE ${OPENBLAS_LIBRARY})

# Python: Debian's interpreter, which sees Debian's NumPy and SciPy.
set(Python_EXECUTABLE /usr/bin/python3 CACHE FILEPATH "Python interpreter")
find_package(Python 3 REQUIRED COMPONENTS Interpreter Development.Module)
find_package(pybind11 CONFIG REQUIRED)
