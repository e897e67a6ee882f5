#pragma once

#include <stdexcept>
#include <string>

namespace tool {

/// How the command ends. Scripts rely on these numbers; --help lists them.
enum class ExitCode : int
{
    Ok = 0,
    Other = 1, ///< anything without a number of its own, as no memory left
    Usage = 2,
    CannotConnect = 3,   ///< never connected, or cannot listen
    LostConnection = 4,  ///< was connected, and did not come back in time
    VersionMismatch = 5, ///< the other end speaks another version of the pipe protocol
    File = 7,            ///< a file cannot be read or written, or an answer not be stored
    TimedOut = 8,        ///< connected, but no answer
    Interrupted = 130,
};

inline constexpr const char* kExitCodeHelp =
    "Exit codes: 0 ok, 1 other failure, 2 usage, 3 cannot connect (or listen), 4 lost connection,\n"
    "5 version mismatch, 7 file error, 8 timed out, 130 interrupted.";

/// Ends the command with an exit code and one sentence for the person who called it: what failed,
/// by name, and what to do about it.
class ToolError : public std::runtime_error
{
public:
    ToolError(ExitCode exitCode, const std::string& message)
        : std::runtime_error(message)
        , code(exitCode)
    {
    }

    const ExitCode code;
};

} // namespace tool
