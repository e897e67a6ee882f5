/// Running a command and talking to it through its standard streams.
///
///     zu::ProcessCommand command;
///     command.line = "sha256sum";
///     command.input = bytes;
///     command.inputBytes = byteCount;
///     const zu::ProcessResult result = zu::runProcess(command);
///     if (result.succeeded())
///         use(result.output);
///
/// Foreign text never belongs into the line, which a command interpreter reads: hand it over in a
/// variable or as input, where no character of it means anything.
///
/// Threads: any; each call runs a process of its own.
#pragma once

#include <zul/Types.h>
#include <zul/WaitHandle.h>
#include <zul/export.h>

#include <string>
#include <utility>
#include <vector>

namespace zu {

struct ProcessCommand
{
    /// Given to the system's command interpreter as it is.
    std::string line;

    /// Name and value, added to this process's own environment or replacing what is there. A value
    /// ends at its first zero byte. About 128 KiB each and 2 MiB in all is what systems take.
    std::vector<std::pair<std::string, std::string>> variables;

    /// Written to its standard input, which is closed behind it; lent until return.
    const void* input = nullptr;
    u64 inputBytes = 0;

    /// A command that writes more is killed.
    u64 maxOutputBytes = 0xFFFFFFFFu;
};

struct ProcessResult
{
    enum End
    {
        Exited,     ///< by itself, with exitCode
        Killed,     ///< by signal number exitCode
        Stopped,    ///< killed because `stop` became ready
        TooVerbose, ///< killed for writing more than maxOutputBytes
        NotStarted, ///< the system could not start or watch it; exitCode is its error number
    };
    End end = NotStarted;
    int exitCode = 0;
    std::vector<char> output; ///< what it wrote to its standard output

    bool succeeded() const { return end == Exited && exitCode == 0; }
};

/// Runs the command to its end: until it has exited and its output is closed, also by programs that
/// it left running in the background.
///
///   stop   once ready, the command and all it started are killed; not valid for never. A
///          PollableEvent stays set, other than by waitAny.
///
/// Its standard error is this process's own. It need not read its input. Throws std::bad_alloc when
/// the output does not fit in memory.
ZUL_API ProcessResult runProcess(const ProcessCommand& command, const WaitHandle& stop = {});

} // namespace zu
