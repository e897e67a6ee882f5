# dm_add_library(NAME): a library from all sources below the calling folder, as two targets.
#
#   NAME           what games and tools link; shared unless BUILD_SHARED_LIBS is off
#   NAME_objects   the same objects, for tests that reach internal classes, whose symbols a
#                  shared library hides
function(dm_add_library name)
    cmake_parse_arguments(ARG "" "" "SOURCES;DEPENDS" ${ARGN})

    add_library(${name}_objects OBJECT ${ARG_SOURCES})
    target_include_directories(${name}_objects
        PUBLIC ${CMAKE_CURRENT_SOURCE_DIR}/include ${CMAKE_CURRENT_BINARY_DIR}/include
               ${CMAKE_SOURCE_DIR})
    target_link_libraries(${name}_objects PRIVATE dm_warnings PUBLIC Threads::Threads)
    foreach(dependency ${ARG_DEPENDS})
        # Headers only: a test that links the objects of both libraries must not pull in the
        # shared one beside them and have every static twice.
        target_include_directories(${name}_objects PUBLIC
            $<TARGET_PROPERTY:${dependency}_objects,INTERFACE_INCLUDE_DIRECTORIES>)
    endforeach()

    add_library(${name} $<TARGET_OBJECTS:${name}_objects>)
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
    else()
        target_compile_definitions(${name} PUBLIC ${upper}_STATIC_DEFINE)
        target_compile_definitions(${name}_objects PUBLIC ${upper}_STATIC_DEFINE)
    endif()

    install(TARGETS ${name} EXPORT dmTargets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
        RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
    install(DIRECTORY include/ ${CMAKE_CURRENT_BINARY_DIR}/include/
        DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
endfunction()
