#include "tools/dm/Commands.h"
#include "tools/dm/Files.h"
#include "tools/dm/Version.h"

#include <dm/comm.h>

#include <CLI/CLI.hpp>
#include <memory>

namespace tool {

void addPipesCommand(CLI::App& app, Action& action, const std::string& commit)
{
    CLI::App* const command = app.add_subcommand("pipes", "Tells about the pipes themselves.");
    auto version = std::make_shared<bool>(false);
    command
        ->add_flag("--version", *version,
                   "Prints the versions of the pipe protocol and the library, and the commit")
        ->required();
    command->footer("Example: dm pipes --version\n\n" + std::string(kExitCodeHelp));
    const std::string lines = "pipe protocol " + std::to_string(dm::kPipeProtocolVersion) +
                              "\nlibrary " + versionNumber() + "\ncommit " + commit + "\n";
    command->callback([version, lines, &action] {
        action = [lines] {
            writeOutput(lines.data(), lines.size());
            return ExitCode::Ok;
        };
    });
}

} // namespace tool
