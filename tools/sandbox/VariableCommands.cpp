#include "tools/sandbox/CommandGroups.h"
#include "tools/sandbox/Commands.h"
#include "tools/sandbox/Variables.h"

#include <algorithm>

namespace sandbox {

namespace {

constexpr size_t kValueColumn = 12;
constexpr size_t kHelpColumn = 34;

std::string padded(std::string text, size_t width)
{
    text.resize(std::max(text.size() + 1, width), ' ');
    return text;
}

class VariableCommands
{
public:
    VariableCommands(Variables& known, Output& words)
        : variables(known)
        , output(words)
    {
    }

    void set(const CommandText& text) const
    {
        if (text.words.size() < 2)
            throw CommandError("which variable, and to what? For example: set speed 2");
        assign(text.words[0], text.words[1] == "=" ? text.restFrom(2) : text.restFrom(1));
    }

    void get(const CommandText& text) const
    {
        if (!text.words.empty())
            return show(text.words[0]);
        for (const auto& [name, variable] : variables.all())
            output.print("  " +
                         padded(padded(name, kValueColumn) + toText(variable.value), kHelpColumn) +
                         variable.help);
    }

    void toggle(const CommandText& text) const
    {
        if (text.words.empty())
            throw CommandError("which variable?");
        variables.toggle(text.words[0]);
        show(text.words[0]);
    }

    /// A variable's name alone shows it, with a value sets it.
    bool shortForm(const CommandText& text) const
    {
        if (!variables.contains(text.name))
            return false;
        if (text.words.empty())
            show(text.name);
        else
            assign(text.name, text.words[0] == "=" ? text.restFrom(1) : text.restFrom(0));
        return true;
    }

private:
    void assign(const std::string& name, const std::string& value) const
    {
        variables.set(name, value);
        show(name);
    }

    void show(const std::string& name) const
    {
        output.print(variables.find(name).name + " = " + variables.get(name));
    }

    Variables& variables;
    Output& output;
};

} // namespace

void addVariableCommands(Commands& commands, Variables& variables, dm::Console& console,
                         Output& output)
{
    const VariableCommands group(variables, output);
    commands.add(
        {"set", "NAME VALUE",
         "Gives a variable a value. The value default is what it was at the start; set may "
         "be left out.",
         [group](const CommandText& text) { group.set(text); }});
    commands.add({"get", "[NAME]", "Shows a variable, or all of them.",
                  [group](const CommandText& text) { group.get(text); }});
    commands.add({"toggle", "NAME", "Switches a variable that is on or off.",
                  [group](const CommandText& text) { group.toggle(text); }});
    commands.setFallback([group](const CommandText& text) { return group.shortForm(text); });
    for (const auto& [name, variable] : variables.all())
        console.getScrollingTextWindow()->addKnownWord(name.c_str(), false);
}

} // namespace sandbox
