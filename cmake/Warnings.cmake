add_library(dm_warnings INTERFACE)
target_compile_options(dm_warnings INTERFACE
    $<$<CXX_COMPILER_ID:GNU,Clang>:-Wall -Wextra -Wconversion -Wshadow -Wnon-virtual-dtor>
    $<$<AND:$<BOOL:${DM_WARNINGS_AS_ERRORS}>,$<CXX_COMPILER_ID:GNU,Clang>>:-Werror>)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
    # Optimising, g++ 12 takes every "literal" + std::string for a copy onto itself (GCC 105651).
    target_compile_options(dm_warnings INTERFACE -Wno-restrict)
endif()
