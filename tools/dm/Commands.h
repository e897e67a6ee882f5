#pragma once

#include "tools/dm/ExitCode.h"

#include <functional>

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
void addPipesCommand(CLI::App& app, Action& action);
void addWatchCommand(CLI::App& app, Action& action);
void addDoctorCommand(CLI::App& app, Action& action);

} // namespace tool
