#pragma once

#include <optional>
#include <string>

namespace CLI {
class App;
}

namespace tool {

/// Reads a program's command line into the options of its commands.
///
/// Returns what is to be printed instead of doing anything: the help or the version, when the line
/// asks for one. It then counts for the command that the line has named, whatever else stands
/// there, right, wrong or missing: `dm fs ls --help` needs no ADDRESS.
///
/// Errors: throws ToolError with ExitCode::Usage, which says what is wrong and whose --help tells
/// more.
std::optional<std::string> parseCommandLine(CLI::App& app, int argc, const char* const* argv);

} // namespace tool
