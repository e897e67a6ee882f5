# dm_add_library(NAME): a library from all sources below the calling folder, as two targets.
#
#   NAME           what games and tools link; shared unless BUILD_SHARED_LIBS is off
#   NAME_objects   the same objects, for tests that reach internal classes, whose symbols a
#                  shared library hides
#
# Programs name it NAME::NAME, whether they find it installed or build it as a part of themselves.
#
#   SOURCES      its sources
#   DESCRIPTION  a line for pkg-config
#   NAMESPACES   whose symbols it exports
#   DEPENDS      libraries that its headers include
function(dm_add_library name)
    cmake_parse_arguments(ARG "" "DESCRIPTION" "SOURCES;NAMESPACES;DEPENDS" ${ARGN})

    add_library(${name}_objects OBJECT ${ARG_SOURCES})
    target_include_directories(${name}_objects
        PUBLIC ${CMAKE_CURRENT_SOURCE_DIR}/include ${CMAKE_CURRENT_BINARY_DIR}/include
               ${PROJECT_SOURCE_DIR})
    target_link_libraries(${name}_objects PRIVATE dm_warnings PUBLIC Threads::Threads)
    foreach(dependency ${ARG_DEPENDS})
        # Headers only: a test that links the objects of both libraries must not pull in the
        # shared one beside them and have every static twice.
        target_include_directories(${name}_objects PUBLIC
            $<TARGET_PROPERTY:${dependency}_objects,INTERFACE_INCLUDE_DIRECTORIES>)
    endforeach()

    add_library(${name} $<TARGET_OBJECTS:${name}_objects>)
    add_library(${name}::${name} ALIAS ${name})
    target_include_directories(${name} PUBLIC
        $<BUILD_INTERFACE:${CMAKE_CURRENT_SOURCE_DIR}/include>
        $<BUILD_INTERFACE:${CMAKE_CURRENT_BINARY_DIR}/include>
        $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
    target_link_libraries(${name} PUBLIC ${ARG_DEPENDS} PRIVATE Threads::Threads)
    target_compile_features(${name} PUBLIC cxx_std_20)
    set_target_properties(${name} PROPERTIES
        VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR} LINKER_LANGUAGE CXX)

    string(TOUPPER ${name} upper)
    generate_export_header(${name} BASE_NAME ${upper}
        EXPORT_MACRO_NAME ${upper}_API
        EXPORT_FILE_NAME ${CMAKE_CURRENT_BINARY_DIR}/include/${name}/export.h)
    if(BUILD_SHARED_LIBS)
        target_compile_definitions(${name}_objects PRIVATE ${name}_EXPORTS)
        dm_limit_exports(${name} ${ARG_NAMESPACES})
    else()
        target_compile_definitions(${name} PUBLIC ${upper}_STATIC_DEFINE)
        target_compile_definitions(${name}_objects PUBLIC ${upper}_STATIC_DEFINE)
    endif()

    if(DM_INSTALL)
        dm_install_library(${name} "${ARG_DESCRIPTION}" "${ARG_DEPENDS}")
    endif()
endfunction()

# The library, its headers and its pkg-config file. Each library has an export set of its own, for
# its own namespace; cmake/PackageConfig.cmake installs them.
function(dm_install_library name pc_description depends)
    install(TARGETS ${name} EXPORT ${name}Targets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
            COMPONENT libraries NAMELINK_COMPONENT development
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development
        RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT libraries)
    install(DIRECTORY include/ ${CMAKE_CURRENT_BINARY_DIR}/include/
        DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development)

    # Relative, so that the tree can be moved. Appending an absolute path replaces.
    file(RELATIVE_PATH pc_prefix ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
    cmake_path(APPEND pc_libdir "\${prefix}" ${CMAKE_INSTALL_LIBDIR})
    cmake_path(APPEND pc_includedir "\${prefix}" ${CMAKE_INSTALL_INCLUDEDIR})
    string(JOIN ", " pc_requires ${depends})
    set(pc_flags)
    set(pc_libraries)
    if(NOT BUILD_SHARED_LIBS)
        string(TOUPPER ${name} upper)
        set(pc_flags " -D${upper}_STATIC_DEFINE")
        set(pc_libraries " -pthread")
    endif()
    configure_file(${PROJECT_SOURCE_DIR}/cmake/library.pc.in
        ${CMAKE_CURRENT_BINARY_DIR}/${name}.pc @ONLY)
    install(FILES ${CMAKE_CURRENT_BINARY_DIR}/${name}.pc
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)
endfunction()
