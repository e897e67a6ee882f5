add_library(dm_warnings INTERFACE)
target_compile_options(dm_warnings INTERFACE
    $<$<CXX_COMPILER_ID:GNU,Clang>:-Wall -Wextra -Wconversion -Wshadow -Wnon-virtual-dtor>
    $<$<AND:$<BOOL:${DM_WARNINGS_AS_ERRORS}>,$<CXX_COMPILER_ID:GNU,Clang>>:-Werror>)
