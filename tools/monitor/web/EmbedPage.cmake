# Writes the C++ source that holds the page's files:
#   cmake -DPAGE=FOLDER -DNAMES=a,b,c -DOUTPUT=FILE -P EmbedPage.cmake
set(type_html "text/html; charset=utf-8")
set(type_css "text/css; charset=utf-8")
set(type_js "text/javascript; charset=utf-8")

string(REPLACE "," ";" names "${NAMES}")
set(arrays "")
set(table "")
set(number 0)
foreach(name IN LISTS names)
    file(READ "${PAGE}/${name}" bytes HEX)
    string(REGEX REPLACE "(..)" "'\\\\x\\1'," bytes "${bytes}")
    string(REGEX REPLACE "^.*\\." "" ending "${name}")
    string(APPEND arrays "static constexpr char k${number}[] = {${bytes}};\n")
    string(APPEND table "    {\"${name}\", \"${type_${ending}}\", {k${number}, sizeof k${number}}},\n")
    math(EXPR number "${number} + 1")
endforeach()
file(WRITE "${OUTPUT}" "// Made by EmbedPage.cmake.
#include \"tools/monitor/web/PageFiles.h\"

namespace monitor {

${arrays}
static constexpr PageFile kFiles[] = {
${table}};

std::span<const PageFile> pageFiles()
{
    return kFiles;
}

} // namespace monitor
")
