# The one place that knows which operating system the runtime is built for: a port adds its
# folder of sources under zul/ and a branch here.
if(UNIX)
    set(ZUL_PLATFORM posix)
    set(ZUL_PLATFORM_LIBRARIES "")
    # What is installed finds the libraries beside it, under whatever prefix.
    set(CMAKE_INSTALL_RPATH "$ORIGIN;$ORIGIN/../${CMAKE_INSTALL_LIBDIR}")
else()
    message(FATAL_ERROR "zul has no port for ${CMAKE_SYSTEM_NAME} yet: see zul/README.md")
endif()
