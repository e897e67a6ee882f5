#include "tools/dm/Commands.h"
#include "tools/dm/Text.h"

#include <dm/comm.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>
#include <new>

namespace {

using tool::ExitCode;

ExitCode report(ExitCode code, const std::string& message)
{
    std::fprintf(stderr, "dm: %s\n", tool::escapeControls(message).c_str());
    return code;
}

ExitCode run(int argc, char** argv)
{
    CLI::App app{"Works with running games: their pipes, files and monitors.", "dm"};
    app.set_version_flag("--version", "dm " DM_VERSION);
    app.require_subcommand(1);
    app.footer(tool::kExitCodeHelp);

    tool::Action action;
    tool::addCallCommand(app, action);
    tool::addNotifyCommand(app, action);
    tool::addListenCommand(app, action);
    tool::addHubCommand(app, action);
    tool::addServeCommand(app, action);
    tool::addRunCommand(app, action);
    tool::addFsCommand(app, action);
    tool::addPipesCommand(app, action);
    tool::addWatchCommand(app, action);
    tool::addDoctorCommand(app, action);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? ExitCode::Ok : ExitCode::Usage;
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
