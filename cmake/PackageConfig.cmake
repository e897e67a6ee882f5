# What `find_package(dm 1.0 CONFIG)` finds: the targets dm::dm and zul::zul.
include(CMakePackageConfigHelpers)

set(folder ${CMAKE_INSTALL_LIBDIR}/cmake/dm)
foreach(library zul dm)
    install(EXPORT ${library}Targets NAMESPACE ${library}::
        DESTINATION ${folder} COMPONENT development)
endforeach()
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/dmConfig.cmake.in
    ${PROJECT_BINARY_DIR}/dmConfig.cmake INSTALL_DESTINATION ${folder})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/dmConfigVersion.cmake
    COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/dmConfig.cmake ${PROJECT_BINARY_DIR}/dmConfigVersion.cmake
    DESTINATION ${folder} COMPONENT development)
