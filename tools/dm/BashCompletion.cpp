#include "tools/dm/Completion.h"
#include "tools/dm/Text.h"

#include <functional>
#include <utility>

namespace tool {

namespace {

using Value = OptionDescription::Value;

std::string quote(const std::string& text) { return "'" + text + "'"; }

/// Patterns of a case, each in a line.
class Patterns
{
public:
    explicit Patterns(std::string lineIndent)
        : indent(std::move(lineIndent))
    {
    }

    void add(const std::string& pattern)
    {
        text += (text.empty() ? "" : " | \\\n") + indent + quote(pattern);
    }

    std::string toCase(const std::string& body) const
    {
        return text.empty() ? "" : text + ")\n    " + indent + body + " ;;\n";
    }

private:
    const std::string indent;
    std::string text;
};

using Visit = std::function<void(const std::string& name, const OptionDescription& option)>;

void eachOption(const CommandDescription& root, const Visit& visit)
{
    for (const CommandDescription* const command : listCommands(root))
        for (const OptionDescription& option : command->options)
            for (const std::string& name : option.names)
                visit(command->name + " " + name, option);
}

std::string walkingCases(const CommandDescription& root)
{
    Patterns commands("        ");
    for (const CommandDescription* const command : listCommands(root))
        if (command != &root)
            commands.add(command->name);
    Patterns values("        ");
    eachOption(root, [&](const std::string& name, const OptionDescription& option) {
        if (option.takesNextWord())
            values.add(name);
    });
    return commands.toCase("command+=\" $word\"") + values.toCase("option=$word");
}

std::string valueCases(const CommandDescription& root)
{
    Patterns files("    ");
    Patterns folders("    ");
    std::string choices;
    eachOption(root, [&](const std::string& name, const OptionDescription& option) {
        if (option.value == Value::File)
            files.add(name);
        else if (option.value == Value::Folder)
            folders.add(name);
        else if (option.value == Value::Choice)
            choices +=
                "    " + quote(name) + ") words=" + quote(joinWords(option.choices)) + " ;;\n";
    });
    return files.toCase("names=file") + folders.toCase("names=directory") + choices;
}

// What may come next when no option waits for its value.
std::string wordCases(const CommandDescription& root)
{
    std::string cases;
    for (const CommandDescription* const command : listCommands(root)) {
        std::vector<std::string> words;
        std::vector<std::string> options;
        std::string names;
        for (const CommandDescription& below : command->commands)
            words.push_back(below.lastName());
        for (const OptionDescription& word : command->words) {
            words.insert(words.end(), word.choices.begin(), word.choices.end());
            if (word.value == Value::File)
                names = "file";
        }
        for (const OptionDescription& option : command->options)
            options.insert(options.end(), option.names.begin(), option.names.end());
        cases += "    " + quote(command->name + " ") +
                 ")\n        words=" + quote(joinWords(words)) +
                 " options=" + quote(joinWords(options)) + " names=" + names + " ;;\n";
    }
    return cases;
}

} // namespace

std::string toBashCompletion(const CommandDescription& root)
{
    const std::string function = "_" + root.name;
    // bash takes = and : for words of their own.
    return "# bash completion of " + root.name + ", made by it from its own options.\n\n" +
           function +
           "()\n{\n"
           "    local command=" +
           quote(root.name) +
           " option='' word='' i\n"
           "    local words='' options='' names='' current=${COMP_WORDS[COMP_CWORD]}\n"
           "    for ((i = 1; i < COMP_CWORD; i++)); do\n"
           "        word=${COMP_WORDS[i]}\n"
           "        if [[ -n $option ]]; then\n"
           "            [[ $word == = ]] || option=''\n"
           "            continue\n"
           "        fi\n"
           "        case \"$command $word\" in\n" +
           walkingCases(root) +
           "        esac\n"
           "    done\n"
           "    [[ -z $option || $current != = ]] || current=''\n"
           "    case \"$command $option\" in\n" +
           valueCases(root) + wordCases(root) +
           "    esac\n"
           "    if [[ -z $option && ($current == -* || -z $words$names) ]]; then\n"
           "        words=$options names=''\n"
           "    fi\n"
           "    mapfile -t COMPREPLY < <(compgen -W \"$words\" -- \"$current\")\n"
           "    if [[ -n $names ]]; then\n"
           "        compopt -o filenames 2>/dev/null\n"
           "        mapfile -t -O ${#COMPREPLY[@]} COMPREPLY < <(compgen -A \"$names\" -- "
           "\"$current\")\n"
           "    fi\n"
           "}\n"
           "complete -F " +
           function + " " + root.name + "\n";
}

} // namespace tool
