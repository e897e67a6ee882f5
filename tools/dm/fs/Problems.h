#pragma once

#include "tools/dm/ExitCode.h"
#include "tools/dm/fs/CopyMeter.h"

#include <string>

namespace tool {

/// Something about one file or folder, after which a command goes on with the next.
class FileError : public ToolError
{
public:
    explicit FileError(const std::string& message)
        : ToolError(ExitCode::File, message)
    {
    }
};

/// What went wrong with single files of a command: a line each, and the exit code in the end.
///
/// Threads: one at a time.
class Problems
{
public:
    explicit Problems(CopyMeter& sharedMeter)
        : meter(sharedMeter)
    {
    }

    void fail(const std::string& what)
    {
        ++failures;
        meter.say(what);
    }

    /// For what the person should know, but is no failure.
    void note(const std::string& what) { meter.say(what); }

    /// Runs the work on one item. Of what it throws, `Error` is a failure like others.
    template <typename Error = FileError, typename Work>
    void attempt(Work work)
    {
        try {
            work();
        } catch (const Error& error) {
            fail(error.what());
        }
    }

    unsigned long count() const { return failures; }

private:
    CopyMeter& meter;
    unsigned long failures = 0;
};

} // namespace tool
