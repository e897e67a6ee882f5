# Writes the commit of `source` into the C++ source `output`: "unknown" where the folder is no
# repository's own, as in what was unpacked from an archive, or into another project's repository.
#
#   git   the command; empty when there is none.
cmake_minimum_required(VERSION 3.25)

set(commit unknown)
if(git)
    execute_process(COMMAND ${git} -C ${source} rev-parse --show-prefix
        OUTPUT_VARIABLE prefix OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET RESULT_VARIABLE result)
    if(result EQUAL 0 AND prefix STREQUAL "")
        execute_process(COMMAND ${git} -C ${source} rev-parse --short=12 --verify --quiet HEAD
            OUTPUT_VARIABLE head OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
        if(head)
            set(commit ${head})
        endif()
    endif()
endif()
file(WRITE ${output} "#include \"tools/dm/Version.h\"\n\nconst char* const tool::kCommit = \"${commit}\";\n")
