/// The log lines of jobs and endpoints, see dm::setLogSink.
#pragma once

#include <zul/String.h>

namespace dm {

/// Hands on one whole line. printf formatting, the newline included.
void logLine(const char* format, ...) ZUL_PRINTF_LIKE(1, 2);

} // namespace dm
