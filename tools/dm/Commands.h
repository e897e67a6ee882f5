#pragma once

#include "tools/dm/ExitCode.h"

#include <functional>
#include <string>

namespace CLI {
class App;
}

namespace tool {

/// What the command line asks for; run after all of it was understood.
using Action = std::function<ExitCode()>;

/// Each adds one sub-command, which sets `action` when it is chosen.
void addCallCommand(CLI::App& app, Action& action);
void addNotifyCommand(CLI::App& app, Action& action);
void addListenCommand(CLI::App& app, Action& action);
void addHubCommand(CLI::App& app, Action& action);
void addServeCommand(CLI::App& app, Action& action);
void addRunCommand(CLI::App& app, Action& action);
void addFsCommand(CLI::App& app, Action& action);
void addPipesCommand(CLI::App& app, Action& action, const std::string& commit);
void addWatchCommand(CLI::App& app, Action& action);
void addDoctorCommand(CLI::App& app, Action& action);
void addCompletionCommand(CLI::App& app, Action& action);
void addManCommand(CLI::App& app, Action& action); ///< hidden: the build writes the pages with it

/// Adds --version, which prints this, to the command and to all below it.
void addVersionFlags(CLI::App& command, const std::string& version);

} // namespace tool
