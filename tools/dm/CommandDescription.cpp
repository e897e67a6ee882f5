#include "tools/dm/CommandDescription.h"

#include <CLI/CLI.hpp>
#include <algorithm>

namespace tool {

namespace {

using Value = OptionDescription::Value;

std::string joinLines(std::string text)
{
    std::replace(text.begin(), text.end(), '\n', ' ');
    return text;
}

// Reads what the help shows after an option's name:
//
//     FILE                     → FILE
//     HOST:PORT                → HOST:PORT
//     TEXT:{text,json}         → TEXT, choices text and json
//     INT:INT in [0 - 65535]   → INT, range 0 - 65535
void takeType(const std::string& type, OptionDescription& description)
{
    const std::size_t limits = type.find_first_of("{ ");
    const std::size_t colon = limits == std::string::npos ? limits : type.find_last_of(':', limits);
    description.valueName = type.substr(0, colon);
    if (colon == std::string::npos)
        return;
    const std::size_t open = type.find_first_of("{[", colon);
    const std::size_t close = type.find_first_of("}]", colon);
    if (open == std::string::npos || close == std::string::npos)
        return;
    const std::string inside = type.substr(open + 1, close - open - 1);
    if (type[open] == '{')
        description.choices = CLI::detail::split(inside, ',');
    else
        description.range = inside;
}

Value valueOf(const OptionDescription& description)
{
    if (!description.choices.empty())
        return Value::Choice;
    const std::string& name = description.valueName;
    if (name == "DIR")
        return Value::Folder;
    return name == "FILE" || name == "LOCAL" || name == "OUT.png" ? Value::File : Value::Other;
}

OptionDescription describeOption(const CLI::Option& option)
{
    OptionDescription description;
    for (const std::string& name : option.get_snames())
        description.names.push_back("-" + name);
    for (const std::string& name : option.get_lnames())
        description.names.push_back("--" + name);
    description.help = joinLines(option.get_description());
    description.isRequired = option.get_required();
    if (option.get_type_name().empty())
        return description; // a flag
    takeType(option.get_type_name(), description);
    if (option.get_positional())
        description.valueName = option.get_single_name();
    description.value = valueOf(description);
    description.usualValue = option.get_default_str();
    description.isValueOptional = !option.get_positional() && option.get_expected_min() == 0;
    description.isRepeatable = option.get_expected_max() >= CLI::detail::expected_max_vector_size ||
                               option.get_multi_option_policy() == CLI::MultiOptionPolicy::TakeAll;
    return description;
}

// Groups of options are commands without a name, each with a --help of its own, which is not shown.
void addOptions(const CLI::App& app, CommandDescription& command)
{
    for (const CLI::Option* const option : app.get_options())
        if (!option->get_group().empty() &&
            !(app.get_name().empty() && option == app.get_help_ptr()))
            (option->get_positional() ? command.words : command.options)
                .push_back(describeOption(*option));
    for (const CLI::App* const group : app.get_subcommands({}))
        if (group->get_name().empty())
            addOptions(*group, command);
}

CommandDescription describe(const CLI::App& app, const std::string& name)
{
    CommandDescription command{name, app.get_description(), app.get_footer(), {}, {}, {}};
    addOptions(app, command);
    for (const CLI::App* const below : app.get_subcommands({}))
        if (!below->get_name().empty() && !below->get_group().empty())
            command.commands.push_back(describe(*below, name + " " + below->get_name()));
    return command;
}

void addTo(std::vector<const CommandDescription*>& list, const CommandDescription& command)
{
    list.push_back(&command);
    for (const CommandDescription& below : command.commands)
        addTo(list, below);
}

} // namespace

CommandDescription describeCommand(const CLI::App& app) { return describe(app, app.get_name()); }

std::vector<const CommandDescription*> listCommands(const CommandDescription& root)
{
    std::vector<const CommandDescription*> list;
    addTo(list, root);
    return list;
}

} // namespace tool
