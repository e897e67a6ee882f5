#include "dm/jobs/JobLog.h"

#include <dm/jobs.h>

#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <string>

namespace dm {

namespace {

std::atomic<LogSink> s_sink{nullptr};

} // namespace

void setLogSink(LogSink sink) { s_sink = sink; }

void logLine(const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    va_list again;
    va_copy(again, arguments);
    const int length = std::vsnprintf(nullptr, 0, format, arguments);
    va_end(arguments);
    std::string line(static_cast<size_t>(length > 0 ? length : 0), '\0');
    std::vsnprintf(line.data(), line.size() + 1, format, again);
    va_end(again);

    if (const LogSink sink = s_sink.load()) {
        sink(line.c_str());
        return;
    }
    // One call a line, so lines of several threads do not mix, and seen at once also in a pipe.
    std::fputs(line.c_str(), stdout);
    std::fflush(stdout);
}

} // namespace dm
