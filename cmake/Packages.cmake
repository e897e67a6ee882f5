# Packages for the system's own package manager, with `cpack` in the build folder:
#
#   libdm1      the shared libraries
#   libdm-dev   headers, CMake package, pkg-config files
#   dm-tools    the dm command
#
# Each is an install component; what has none is in no package.
if(NOT PROJECT_IS_TOP_LEVEL OR NOT BUILD_SHARED_LIBS)
    return()
endif()

set(CPACK_GENERATOR ${DM_PACKAGE_GENERATOR})
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_PACKAGE_CONTACT "The dm developers <dm@localhost>" CACHE STRING "Maintainer of packages")
set(CPACK_COMPONENTS_ALL libraries development)
set(CPACK_STRIP_FILES ON)
# The components' own first lines, in place of one that all packages share.
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")
set(CPACK_VERBATIM_VARIABLES ON)

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(library_package libdm${PROJECT_VERSION_MAJOR})
set(library_dependency "${library_package} (= ${PROJECT_VERSION})")
set(about "Pipes between programs, remote files, a debug monitor and a console,\nfor games under development.")

set(CPACK_COMPONENT_LIBRARIES_DESCRIPTION "developer support for games, shared libraries\n${about}")
set(CPACK_DEBIAN_LIBRARIES_PACKAGE_NAME ${library_package})
set(CPACK_DEBIAN_LIBRARIES_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_LIBRARIES_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
# What is built with a version runs with later ones of the same major version.
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")

set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION "developer support for games, headers\n${about}")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libdm-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS ${library_dependency})

if(DM_BUILD_TOOLS)
    list(APPEND CPACK_COMPONENTS_ALL tools)
    set(CPACK_COMPONENT_TOOLS_DESCRIPTION "developer support for games, the dm command\n${about}")
    set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME dm-tools)
    set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION devel)
    set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS ${library_dependency})
    set(CPACK_DEBIAN_TOOLS_PACKAGE_SHLIBDEPS ON)
    find_program(GZIP_COMMAND gzip)
    mark_as_advanced(GZIP_COMMAND)
    set(CPACK_GZIP_COMMAND ${GZIP_COMMAND})
    set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/cmake/DebianLayout.cmake)
    # Where the libraries of the same build are, which no installed package has.
    set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/lib)
endif()

include(CPack)
