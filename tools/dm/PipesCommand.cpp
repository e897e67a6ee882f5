#include "tools/dm/Commands.h"
#include "tools/dm/Files.h"

#include <dm/comm.h>

#include <CLI/CLI.hpp>
#include <memory>

namespace tool {

void addPipesCommand(CLI::App& app, Action& action)
{
    CLI::App* const command = app.add_subcommand("pipes", "Tells about the pipes themselves.");
    auto version = std::make_shared<bool>(false);
    command->add_flag("--version", *version, "Prints the pipe protocol's and the library's version")
        ->required();
    command->callback([version, &action] {
        action = [] {
            const std::string line = "pipe protocol " + std::to_string(dm::kPipeProtocolVersion) +
                                     "\nlibrary " DM_VERSION "\n";
            writeOutput(line.data(), line.size());
            return ExitCode::Ok;
        };
    });
}

} // namespace tool
