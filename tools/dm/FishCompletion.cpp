#include "tools/dm/Completion.h"
#include "tools/dm/Text.h"

namespace tool {

namespace {

using Value = OptionDescription::Value;

std::string quote(const std::string& text)
{
    std::string quoted = "'";
    for (const char c : text) {
        if (c == '\'' || c == '\\')
            quoted += '\\';
        quoted += c;
    }
    return quoted + "'";
}

// The function that tells which command the line has so far.
std::string walk(const CommandDescription& root, const std::string& function)
{
    constexpr const char* kNext = " \\\n                ";
    std::string commands;
    std::string options;
    for (const CommandDescription* const command : listCommands(root)) {
        if (command != &root)
            commands += kNext + quote(command->name);
        for (const OptionDescription& option : command->options)
            for (const std::string& name : option.names)
                if (option.takesNextWord())
                    options += kNext + quote(command->name + " " + name);
    }
    return "function " + function +
           "\n"
           "    set -l command " +
           quote(root.name) +
           "\n"
           "    set -l option ''\n"
           "    set -l words (commandline -opc)\n"
           "    set -e words[1]\n"
           "    for word in $words\n"
           "        if test -n \"$option\"\n"
           "            set option ''\n"
           "            continue\n"
           "        end\n"
           "        switch \"$command $word\"\n" +
           (commands.empty() ? ""
                             : "            case" + commands +
                                   "\n                set command \"$command $word\"\n") +
           (options.empty()
                ? ""
                : "            case" + options + "\n                set option $word\n") +
           "        end\n"
           "    end\n"
           "    test \"$command\" = \"$argv\"\n"
           "end\n\n";
}

std::string complete(const OptionDescription& option)
{
    std::string text;
    for (const std::string& name : option.names)
        text += name.starts_with("--") ? " -l " + name.substr(2) : " -s " + name.substr(1);
    if (option.takesNextWord())
        text += option.value == Value::File || option.value == Value::Folder ? " -r" : " -x";
    if (option.value == Value::File)
        text += " -F";
    else if (option.value == Value::Folder)
        text += " -a '(__fish_complete_directories)'";
    else if (option.value == Value::Choice)
        text += " -a " + quote(joinWords(option.choices));
    return text.empty() ? "" : text + " -d " + quote(option.help) + "\n";
}

} // namespace

std::string toFishCompletion(const CommandDescription& root)
{
    const std::string function = "__" + root.name + "_command_is";
    std::string script = "# fish completion of " + root.name +
                         ", made by it from its own options.\n\n" + walk(root, function) +
                         "complete -c " + root.name + " -f\n";
    for (const CommandDescription* const command : listCommands(root)) {
        const std::string begin =
            "complete -c " + root.name + " -n " + quote(function + " " + command->name);
        for (const CommandDescription& below : command->commands)
            script += begin + " -a " + below.lastName() + " -d " + quote(below.purpose) + "\n";
        for (const OptionDescription& option : command->options)
            script += begin + complete(option);
        for (const OptionDescription& word : command->words)
            if (word.value == Value::File || word.value == Value::Choice)
                script += begin + complete(word);
    }
    return script;
}

} // namespace tool
