# The one place that knows which operating system the runtime is built for: a port adds its
# folder of sources under zul/ and a branch here.
if(UNIX)
    set(ZUL_PLATFORM posix)
    set(ZUL_PLATFORM_LIBRARIES "")
    # What is installed finds the libraries beside it, under whatever prefix.
    file(RELATIVE_PATH libraries_from_programs
        ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR})
    set(CMAKE_INSTALL_RPATH "$ORIGIN;$ORIGIN/${libraries_from_programs}")
    set(DM_PACKAGE_GENERATOR DEB)
else()
    message(FATAL_ERROR "zul has no port for ${CMAKE_SYSTEM_NAME} yet: see zul/README.md")
endif()

# dm_limit_exports(TARGET NAMESPACE...): of what a shared library could export, it exports what is
# in these namespaces. Hidden visibility cannot do that alone: the standard library's headers give
# its templates default visibility, and what we instantiate of them would be taken for ours, by the
# linker in place of a program's own.
#
# So nothing of std may be shared between a library and its callers by its address: a std::atomic
# in a public header, waited for here and notified there, would never wake up.
function(dm_limit_exports target)
    set(patterns)
    foreach(namespace ${ARGN})
        # A space must be a wildcard, because quotes would make the others ordinary characters.
        string(APPEND patterns "${namespace}::*; *?for?${namespace}::*; *?to?${namespace}::*; ")
    endforeach()
    string(TOUPPER ${target} node)
    set(script ${CMAKE_CURRENT_BINARY_DIR}/${target}.map)
    # Versioned, so that one process may hold two major versions.
    file(CONFIGURE OUTPUT ${script} @ONLY CONTENT
        "${node}_${PROJECT_VERSION_MAJOR} { global: extern \"C++\" { ${patterns}}; local: *; };\n")
    target_link_options(${target} PRIVATE LINKER:--version-script=${script})
    set_property(TARGET ${target} APPEND PROPERTY LINK_DEPENDS ${script})
endfunction()
