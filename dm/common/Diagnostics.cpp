#include "dm/common/Diagnostics.h"

#include <cstdarg>
#include <cstdio>

namespace dm {

void warn(const char* format, ...)
{
    char line[1024];
    std::va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(line, sizeof line, format, arguments);
    va_end(arguments);
    std::fprintf(stderr, "dm: %s\n", line);
}

} // namespace dm
