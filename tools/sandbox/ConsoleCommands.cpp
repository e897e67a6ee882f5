#include "tools/sandbox/CommandGroups.h"
#include "tools/sandbox/Commands.h"
#include "tools/sandbox/Variables.h"

#include <algorithm>

namespace sandbox {

namespace {

constexpr size_t kHelpColumn = 26;

std::string usage(const Command& command)
{
    if (command.isFunction)
        return command.name + "( " + command.arguments + " )";
    return command.arguments.empty() ? command.name : command.name + " " + command.arguments;
}

std::string summary(const std::string& help)
{
    const size_t end = help.find(". ");
    return end == std::string::npos ? help : help.substr(0, end + 1);
}

std::string row(const std::string& left, const std::string& right)
{
    const size_t gap = left.size() < kHelpColumn ? kHelpColumn - left.size() : 2;
    return "  " + left + std::string(gap, ' ') + right;
}

bool holds(const std::string& text, const std::string& lowerCasePart)
{
    return toLower(text).find(lowerCasePart) != std::string::npos;
}

bool isIdentifier(const std::string& word)
{
    const zu::InplaceString<128> text(word.data(), word.size());
    return dm::scanIdentifier(text, 0) == static_cast<int>(word.size());
}

class ConsoleCommands
{
public:
    ConsoleCommands(Commands& table, const Variables& known, dm::Console& owner, Output& words)
        : commands(table)
        , variables(known)
        , console(owner)
        , output(words)
    {
    }

    void help(const CommandText& text) const
    {
        if (text.words.empty())
            return listAll();
        const std::string word = toLower(text.words[0]);
        if (const Command* const command = commands.find(word)) {
            output.print(usage(*command));
            output.print("  " + command->help);
        } else if (variables.contains(word)) {
            const Variables::Variable& variable = variables.find(word);
            output.print(variable.name + " = " + toText(variable.value) + ", " +
                         describe(variable));
            output.print("  " + variable.help);
        } else {
            throw CommandError("nothing is known about \"" + text.words[0] + "\"; try find");
        }
    }

    void find(const CommandText& text) const
    {
        if (text.rest.empty())
            throw CommandError("which text?");
        const std::string part = toLower(text.restFrom(0));
        size_t count = 0;
        for (const auto& [name, command] : commands.all()) {
            if (holds(name, part) || holds(command.help, part)) {
                output.print(row(usage(command), summary(command.help)));
                ++count;
            }
        }
        for (const auto& [name, variable] : variables.all()) {
            if (holds(name, part) || holds(variable.help, part)) {
                output.print(row(name + " = " + toText(variable.value), variable.help));
                ++count;
            }
        }
        if (count == 0)
            output.print("nothing has \"" + text.restFrom(0) + "\" in its name or its help");
    }

    // Only an alias that is in the map is seen by the check, so it is entered first.
    void alias(const CommandText& text) const
    {
        if (text.words.empty())
            return listAliases();
        const std::string name = toLower(text.words[0]);
        if (!isIdentifier(name))
            throw CommandError("\"" + name + "\" is no name: letters, digits and _ make one");
        const std::string expansion = text.restFrom(1);
        if (expansion.empty())
            throw CommandError("what does \"" + name + "\" stand for? (unalias takes one away)");

        dm::AliasMap& aliases = console.getScrollingTextWindow()->accessAliasesMap();
        const zu::InplaceString<256> key(name.data(), name.size());
        const zu::InplaceString<256> value(expansion.data(), expansion.size());
        const auto earlier = aliases.find(key);
        const bool isNew = earlier == aliases.end();
        const zu::InplaceString<256> before = isNew ? zu::InplaceString<256>() : earlier->second;
        aliases[key] = value;
        try {
            console.getScrollingTextWindow()->checkAliasValidity(key, value);
        } catch (const dm::ScrollingTextWindowException&) {
            if (isNew)
                aliases.erase(key);
            else
                aliases[key] = before;
            throw;
        }
        output.print(name + " stands for: " + expansion);
    }

    void unalias(const CommandText& text) const
    {
        if (text.words.empty())
            throw CommandError("which alias?");
        const std::string name = toLower(text.words[0]);
        dm::AliasMap& aliases = console.getScrollingTextWindow()->accessAliasesMap();
        if (aliases.erase(zu::InplaceString<256>(name.data(), name.size())) == 0)
            throw CommandError("there is no alias \"" + name +
                               "\"; quote a name, or it is expanded: unalias \"name\"");
        output.print("\"" + name + "\" stands for itself again");
    }

    void listAliases() const
    {
        const dm::AliasMap& aliases = console.getScrollingTextWindow()->getAliasesMap();
        for (const auto& [name, text] : aliases)
            output.print(row(name.c_str(), text.c_str()));
        if (aliases.empty())
            output.print("there are no aliases");
    }

    void bind(const CommandText& text) const
    {
        if (text.words.empty())
            return listBindings();
        const std::string command = text.restFrom(1);
        if (command.empty())
            throw CommandError("which command? (unbind takes a binding away)");
        console.bind(keyOf(text.words[0]), zu::InplaceString<128>(command.data(), command.size()));
        output.print(text.words[0] + " runs this while the console is hidden: " + command);
    }

    void unbind(const CommandText& text) const
    {
        if (text.words.empty())
            throw CommandError("which key? (all takes all bindings away)");
        const bool wantsAll = toLower(text.words[0]) == "all";
        const unsigned char key = wantsAll ? '\0' : keyOf(text.words[0]);
        const dm::BindingMap& bindings = console.getBindingsMap();
        if (!wantsAll && bindings.find(key) == bindings.end())
            throw CommandError("nothing is bound to " + text.words[0]);
        console.unbind(key);
        output.print(wantsAll ? "nothing is bound any more" : text.words[0] + " is free again");
    }

    void listBindings() const
    {
        for (const auto& [key, command] : console.getBindingsMap())
            output.print(row(nameOf(key), command.c_str()));
        if (console.getBindingsMap().empty())
            output.print("nothing is bound");
    }

    void showHistory() const
    {
        size_t number = 0;
        for (const std::string& line : commands.entered())
            output.print(row(std::to_string(++number), line));
    }

private:
    static unsigned char keyOf(const std::string& word)
    {
        if (toLower(word) == "space")
            return ' ';
        if (word.size() != 1)
            throw CommandError("\"" + word +
                               "\" is no key: give the character that it types, or "
                               "space");
        return static_cast<unsigned char>(word[0]);
    }

    static std::string nameOf(unsigned char key)
    {
        return key == ' ' ? "space" : std::string(1, static_cast<char>(key));
    }

    void listAll() const
    {
        for (const auto& [name, command] : commands.all())
            output.print(row(usage(command), summary(command.help)));
        output.print("help word tells more; Tab completes; get lists the variables");
    }

    Commands& commands;
    const Variables& variables;
    dm::Console& console;
    Output& output;
};

} // namespace

void addConsoleCommands(Commands& commands, const Variables& variables, dm::Console& console,
                        Output& output)
{
    const ConsoleCommands group(commands, variables, console, output);
    const auto add = [&](const char* name, const char* arguments, const char* help,
                         std::function<void(const CommandText&)> run) {
        commands.add({name, arguments, help, std::move(run)});
    };
    add("help", "[word]", "Tells what there is, or about one command or variable.",
        [group](const CommandText& text) { group.help(text); });
    add("find", "TEXT", "Finds commands and variables by their names and help.",
        [group](const CommandText& text) { group.find(text); });
    add("alias", "NAME TEXT",
        "Has a word stand for a text. The text may be several commands: alias x get speed; get "
        "count. Quote the name of an alias that is there already: alias \"x\" get speed.",
        [group](const CommandText& text) { group.alias(text); });
    add("unalias", "\"NAME\"", "Takes an alias away. Without the quotes its name is expanded.",
        [group](const CommandText& text) { group.unalias(text); });
    add("aliases", "", "Lists the aliases.", [group](const CommandText&) { group.listAliases(); });
    add("bind", "KEY COMMAND",
        "Has a key run a command while the console is hidden. The key is the character that it "
        "types, or space.",
        [group](const CommandText& text) { group.bind(text); });
    add("unbind", "KEY", "Takes a binding away; unbind all takes all.",
        [group](const CommandText& text) { group.unbind(text); });
    add("binds", "", "Lists the bindings.", [group](const CommandText&) { group.listBindings(); });
    add("echo", "TEXT", "Prints a text.",
        [&output](const CommandText& text) { output.print(text.restFrom(0)); });
    add("clear", "", "Forgets all lines.", [&console](const CommandText&) { console.clear(); });
    add("history", "",
        "Lists the lines entered since the start. Up and Down bring them back, older ones too.",
        [group](const CommandText&) { group.showHistory(); });
}

} // namespace sandbox
