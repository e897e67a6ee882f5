#pragma once

#include <dm/jobs.h>

#include <algorithm>
#include <mutex>
#include <string>
#include <vector>

namespace support {

/// Keeps the log lines of jobs and endpoints instead of standard output. One at a time; ends after
/// the managers whose threads log.
class LogCollector
{
public:
    LogCollector() { dm::setLogSink(keep); }
    ~LogCollector()
    {
        dm::setLogSink(nullptr);
        const std::lock_guard guard(s_lock);
        s_lines.clear();
    }
    LogCollector(const LogCollector&) = delete;
    LogCollector& operator=(const LogCollector&) = delete;

    static std::vector<std::string> lines()
    {
        const std::lock_guard guard(s_lock);
        return s_lines;
    }

    static bool mentions(const std::string& text)
    {
        return std::ranges::any_of(
            lines(), [&](const std::string& line) { return line.find(text) != line.npos; });
    }

private:
    static void keep(const char* line)
    {
        const std::lock_guard guard(s_lock);
        s_lines.push_back(line);
    }

    static inline std::mutex s_lock;
    static inline std::vector<std::string> s_lines; // under s_lock
};

} // namespace support
