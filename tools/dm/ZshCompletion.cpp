#include "tools/dm/Completion.h"

#include <algorithm>

namespace tool {

namespace {

using Value = OptionDescription::Value;

std::string quote(const std::string& text)
{
    std::string quoted = "'";
    for (const char c : text)
        quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return quoted + "'";
}

// For texts in what _arguments and _describe read, where these have a meaning.
std::string escape(const std::string& text)
{
    std::string escaped;
    for (const char c : text) {
        if (c == '[' || c == ']' || c == ':' || c == '\\')
            escaped += '\\';
        escaped += c;
    }
    return escaped;
}

std::string functionOf(const CommandDescription& command)
{
    std::string name = "_" + command.name;
    std::replace(name.begin(), name.end(), ' ', '_');
    std::replace(name.begin(), name.end(), '-', '_');
    return name;
}

// ":FILE:_files"
std::string valueOf(const OptionDescription& option)
{
    std::string action = " "; // nothing but the message
    if (option.value == Value::File)
        action = "_files";
    else if (option.value == Value::Folder)
        action = "_files -/";
    for (const std::string& choice : option.choices)
        action += (action == " " ? "(" : " ") + choice;
    if (!option.choices.empty())
        action = action.substr(1) + ")";
    return (option.isValueOptional ? "::" : ":") + escape(option.valueName) + ":" + action;
}

// Each name is offered until one of them was given.
std::string specify(const OptionDescription& option)
{
    std::string all;
    for (const std::string& name : option.names)
        all += (all.empty() ? "" : " ") + name;
    std::string text;
    for (const std::string& name : option.names) {
        // The value as the next word, or behind a =.
        const bool mayHaveSign = option.value != Value::None && name.starts_with("--");
        text += "        " +
                quote((option.isRepeatable ? "*" : "(" + all + ")") + name +
                      (mayHaveSign ? "=" : "") + "[" + escape(option.help) + "]" +
                      (option.value == Value::None ? "" : valueOf(option))) +
                " \\\n";
    }
    return text;
}

std::string specifyWords(const CommandDescription& command)
{
    std::string text;
    for (const OptionDescription& word : command.words)
        text +=
            "        " +
            quote(word.isRepeatable ? "*" + valueOf(word)
                                    : (word.isRequired ? ":" : "::") + valueOf(word).substr(1)) +
            " \\\n";
    return text;
}

// The command behind the words goes on in a function of its own, with the line cut off before it.
std::string goOn(const CommandDescription& command)
{
    const std::string place = "$line[" + std::to_string(command.words.size() + 1) + "]";
    std::string described;
    std::string cases;
    for (const CommandDescription& below : command.commands) {
        described += "            " + quote(below.lastName() + ":" + escape(below.purpose)) + "\n";
        cases += "        " + below.lastName() + ") " + functionOf(below) + " ;;\n";
    }
    return "    case $state in\n"
           "    command)\n"
           "        commands=(\n" +
           described +
           "        )\n"
           "        _describe -t commands command commands\n"
           "        ;;\n"
           "    rest)\n"
           "        words=(" +
           place +
           " \"${words[@]}\")\n"
           "        ((CURRENT += 1))\n"
           "        curcontext=\"${curcontext%:*:*}:" +
           functionOf(command).substr(1) + "-" + place +
           ":\"\n"
           "        case " +
           place + " in\n" + cases +
           "        esac\n"
           "        ;;\n"
           "    esac\n";
}

std::string defineFunction(const CommandDescription& command)
{
    std::string text = functionOf(command) + "() {\n"
                                             "    local curcontext=$curcontext state line\n"
                                             "    local -a commands\n"
                                             "    typeset -A opt_args\n"
                                             "    _arguments -s -C \\\n";
    for (const OptionDescription& option : command.options)
        text += specify(option);
    text += specifyWords(command);
    if (!command.commands.empty())
        text += "        ': :->command' \\\n        '*::: :->rest' \\\n";
    return text + "        && return 0\n" + (command.commands.empty() ? "" : goOn(command)) +
           "}\n\n";
}

} // namespace

std::string toZshCompletion(const CommandDescription& root)
{
    const std::string function = functionOf(root);
    std::string script = "#compdef " + root.name + "\n# zsh completion of " + root.name +
                         ", made by it from its own options.\n\n";
    for (const CommandDescription* const command : listCommands(root))
        script += defineFunction(*command);
    // Run by the completion system when it is in a folder of its own, else read with eval.
    return script + "if [[ $funcstack[1] == " + function + " ]]; then\n    " + function +
           " \"$@\"\nelse\n    compdef " + function + " " + root.name + "\nfi\n";
}

} // namespace tool
