#include "tools/dm/Color.h"
#include "tools/dm/Commands.h"
#include "tools/dm/Files.h"
#include "tools/dm/ParseCommandLine.h"
#include "tools/dm/Text.h"
#include "tools/dm/Version.h"

#include <dm/comm.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>
#include <new>
#include <string>

namespace {

using tool::ExitCode;

ExitCode report(ExitCode code, const std::string& message)
{
    const std::string name =
        tool::inColor("dm:", tool::Color::Red, tool::hasColors(zu::StandardStream::Error));
    std::fprintf(stderr, "%s %s\n", name.c_str(), tool::escapeControls(message).c_str());
    return code;
}

ExitCode run(int argc, char** argv)
{
    CLI::App app{"Works with running games: their pipes, files and monitors.", "dm"};
    app.set_help_flag("-h,--help", "Prints this help and ends"); // the commands' too
    app.require_subcommand(1);
    app.footer(
        "A terminal gets colours unless NO_COLOR is set. `dm COMMAND --help` and `man dm-COMMAND`\n"
        "have examples.\n\n"
        "Examples:\n"
        "  dm listen 3500 build --answer yes\n"
        "  dm call 127.0.0.1:3500 build \"ready?\"      in another terminal\n\n" +
        std::string(tool::kExitCodeHelp));

    tool::Action action;
    tool::addCallCommand(app, action);
    tool::addNotifyCommand(app, action);
    tool::addListenCommand(app, action);
    tool::addHubCommand(app, action);
    tool::addServeCommand(app, action);
    tool::addRunCommand(app, action);
    tool::addFsCommand(app, action);
    tool::addPipesCommand(app, action, tool::kCommit);
    tool::addWatchCommand(app, action);
    tool::addDoctorCommand(app, action);
    tool::addCompletionCommand(app, action);
    tool::addManCommand(app, action);
    tool::addVersionFlags(app, tool::describeVersion("dm", tool::kCommit));
    if (const auto answer = tool::parseCommandLine(app, argc, argv)) {
        tool::writeOutput(answer->data(), answer->size());
        return ExitCode::Ok;
    }

    // An answer larger than its buffer must never be written past it, whoever sends it.
    dm::setResponseCapacityEnforced(true);
    return action();
}

} // namespace

int main(int argc, char** argv)
{
    ExitCode code = ExitCode::Other;
    try {
        code = run(argc, argv);
    } catch (const tool::ToolError& error) {
        code = report(error.code, error.what());
    } catch (const std::bad_alloc&) {
        code = report(ExitCode::Other, "not enough memory for the data; free some and try again");
    } catch (const std::exception& error) {
        code = report(ExitCode::Other, error.what());
    }
    return static_cast<int>(code);
}
