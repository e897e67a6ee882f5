/// completion and man: what packages install beside the command, from its own definitions.
#include "tools/dm/Commands.h"
#include "tools/dm/Completion.h"
#include "tools/dm/Files.h"
#include "tools/dm/ManPage.h"

#include <CLI/CLI.hpp>
#include <memory>

namespace tool {

namespace {

ExitCode print(const std::string& text)
{
    writeOutput(text.data(), text.size());
    return ExitCode::Ok;
}

ExitCode printPage(const CommandDescription& root, const std::vector<std::string>& words)
{
    std::string name = root.name;
    for (const std::string& word : words)
        name += " " + word;
    for (const CommandDescription* const command : listCommands(root))
        if (command->name == name)
            return print(toManPage(*command, root));
    throw ToolError(ExitCode::Usage, "there is no '" + name + "': dm --help lists the commands");
}

} // namespace

void addCompletionCommand(CLI::App& app, Action& action)
{
    auto shell = std::make_shared<std::string>();
    CLI::App* const command = app.add_subcommand(
        "completion", "Prints a script with which a shell completes dm's command lines.");
    command->add_option("SHELL", *shell, "The shell")
        ->required()
        ->check(CLI::IsMember({"bash", "zsh", "fish"}));
    command->footer(
        "An installed dm has brought the scripts along; this is for one that was not.\n\n"
        "Examples:\n"
        "  source <(dm completion bash)            in ~/.bashrc\n"
        "  source <(dm completion zsh)             in ~/.zshrc, after compinit\n"
        "  dm completion fish | source             in ~/.config/fish/config.fish\n\n" +
        std::string(kExitCodeHelp));
    command->callback([shell, &app, &action] {
        action = [shell, &app] { return print(toCompletion(describeCommand(app), *shell)); };
    });
}

void addManCommand(CLI::App& app, Action& action)
{
    struct ManOptions
    {
        std::vector<std::string> words;
        std::string folder;
    };
    auto options = std::make_shared<ManOptions>();
    CLI::App* const command = app.add_subcommand("man", "Prints the page of a command for man.");
    command->group(""); // people have the pages themselves
    CLI::Option* const words =
        command->add_option("COMMAND", options->words, "The command; none: dm itself");
    command->add_option("--into", options->folder, "Writes all pages into this folder")
        ->type_name("DIR")
        ->excludes(words);
    command->footer("Example: dm man fs ls | man -l -\n\n" + std::string(kExitCodeHelp));
    command->callback([options, &app, &action] {
        action = [options, &app] {
            const CommandDescription root = describeCommand(app);
            if (options->folder.empty())
                return printPage(root, options->words);
            writeManPages(root, options->folder);
            return ExitCode::Ok;
        };
    });
}

void addVersionFlags(CLI::App& command, const std::string& version)
{
    if (command.get_option_no_throw("--version") == nullptr)
        command.set_version_flag("--version", version, "Prints the version and ends");
    for (CLI::App* const below :
         command.get_subcommands([](CLI::App* app) { return !app->get_name().empty(); }))
        addVersionFlags(*below, version);
}

} // namespace tool
