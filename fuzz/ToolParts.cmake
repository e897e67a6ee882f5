# The sources of the tools that the checks look at: of the file server what judges what games send,
# and recordings. Not dm_tool_parts, for which the tools' own libraries would have to be there.
set(fuzzed_recording ${PROJECT_SOURCE_DIR}/tools/monitor/Recording.cpp)
set(fuzzed_fileserver)
foreach(part CaseDoctor CommandLine CommandRun CommandRunner FolderMaps ListAnswer WriteTurns)
    list(APPEND fuzzed_fileserver ${PROJECT_SOURCE_DIR}/tools/fileserver/${part}.cpp)
endforeach()
