# Installation: the three libraries side by side (each finds the others through $ORIGIN, and
# Module::loadDefault finds the library beside the host), the embedding headers, a CMake package
# (find_package(vlmathdsp), target vlmathdsp::vlhost) and a pkg-config file (vlmathdsp).
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(VLMATHDSP_INCLUDE_DIR ${CMAKE_INSTALL_INCLUDEDIR}/vlmathdsp)
set(VLMATHDSP_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/vlmathdsp)
set_target_properties(vlhost vlfl_fft vlmathdsp ${VLMATHDSP_VARIANTS} PROPERTIES INSTALL_RPATH "$ORIGIN")

install(TARGETS vlhost EXPORT vlmathdspTargets LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
        INCLUDES DESTINATION ${VLMATHDSP_INCLUDE_DIR})
install(TARGETS vlfl_fft vlmathdsp ${VLMATHDSP_VARIANTS} LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(FILES host/embed.hpp DESTINATION ${VLMATHDSP_INCLUDE_DIR}/host)
install(FILES module/host_interface.hpp DESTINATION ${VLMATHDSP_INCLUDE_DIR}/module)

install(EXPORT vlmathdspTargets NAMESPACE vlmathdsp:: DESTINATION ${VLMATHDSP_CMAKE_DIR})
configure_package_config_file(cmake/vlmathdspConfig.cmake.in ${CMAKE_BINARY_DIR}/vlmathdspConfig.cmake
                              INSTALL_DESTINATION ${VLMATHDSP_CMAKE_DIR})
write_basic_package_version_file(${CMAKE_BINARY_DIR}/vlmathdspConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${CMAKE_BINARY_DIR}/vlmathdspConfig.cmake ${CMAKE_BINARY_DIR}/vlmathdspConfigVersion.cmake
        DESTINATION ${VLMATHDSP_CMAKE_DIR})

# The .pc file finds the prefix from its own place, so that any --prefix at install time holds.
file(RELATIVE_PATH VLMATHDSP_PC_UP /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
configure_file(cmake/vlmathdsp.pc.in ${CMAKE_BINARY_DIR}/vlmathdsp.pc @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/vlmathdsp.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
