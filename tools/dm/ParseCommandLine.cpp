#include "tools/dm/ParseCommandLine.h"

#include "tools/dm/ExitCode.h"

#include <CLI/CLI.hpp>

namespace tool {

namespace {

/// The command that the words have named so far, and what leads to it: "dm fs ls".
struct NamedCommand
{
    const CLI::App* command;
    std::string above;

    std::string name() const
    {
        return above.empty() ? command->get_name() : above + " " + command->get_name();
    }

    void descend(const CLI::App& below)
    {
        above = name();
        command = &below;
    }
};

bool isFlag(const CLI::Option* flag, const std::string& word)
{
    return flag != nullptr && flag->check_name(word);
}

std::optional<std::string> findAnswer(const CLI::App& app, int argc, const char* const* argv)
{
    NamedCommand named{&app, ""};
    for (int at = 1; at < argc; ++at) {
        const std::string word = argv[at];
        if (word == "--")
            break;
        const auto below = named.command->get_subcommands([&word](const CLI::App* one) {
            return !word.empty() && one->get_name() == word; // groups of options have no name
        });
        if (!below.empty())
            named.descend(*below.front());
        if (isFlag(named.command->get_help_ptr(), word))
            return named.command->help(named.above);
        if (isFlag(named.command->get_version_ptr(), word))
            return named.command->version() + "\n";
    }
    return std::nullopt;
}

/// What went wrong, as a sentence that names it. Only numbers are converted.
std::string describe(const NamedCommand& named, const CLI::ParseError& error)
{
    const std::string what = error.what();
    if (dynamic_cast<const CLI::ConversionError*>(&error) != nullptr)
        return what.substr(what.find(": ") + 2) + ": that is no number it takes";
    if (what != CLI::RequiredError::Subcommand(1).what())
        return what;
    const std::vector<std::string> words = named.command->remaining();
    if (words.empty())
        return "a command is missing";
    const bool isOption = words.front().starts_with('-');
    return "there is no " + std::string(isOption ? "option '" : "command '") + words.front() + "'";
}

} // namespace

std::optional<std::string> parseCommandLine(CLI::App& app, int argc, const char* const* argv)
{
    if (std::optional<std::string> answer = findAnswer(app, argc, argv))
        return answer;
    try {
        app.parse(argc, argv);
    } catch (const CLI::CallForHelp&) {
        return app.help(); // asked for by a word with more letters, as -lh
    } catch (const CLI::ParseError& error) {
        NamedCommand named{&app, ""};
        while (!named.command->get_subcommands().empty())
            named.descend(*named.command->get_subcommands().back());
        throw ToolError(ExitCode::Usage,
                        describe(named, error) + ": `" + named.name() + " --help` tells more");
    }
    return std::nullopt;
}

} // namespace tool
