include(CMakePackageConfigHelpers)
install(EXPORT dmTargets NAMESPACE dm:: DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/dm)
configure_package_config_file(${CMAKE_SOURCE_DIR}/cmake/dmConfig.cmake.in
    ${CMAKE_BINARY_DIR}/dmConfig.cmake INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/dm)
write_basic_package_version_file(${CMAKE_BINARY_DIR}/dmConfigVersion.cmake
    COMPATIBILITY SameMinorVersion)
install(FILES ${CMAKE_BINARY_DIR}/dmConfig.cmake ${CMAKE_BINARY_DIR}/dmConfigVersion.cmake
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/dm)
