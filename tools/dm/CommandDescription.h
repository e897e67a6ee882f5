#pragma once

#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace tool {

/// An option, or a word that a command takes without one.
struct OptionDescription
{
    enum class Value
    {
        None, ///< a flag
        Choice,
        File,
        Folder,
        Other
    };

    std::vector<std::string> names; ///< "-v", "--verbose"; none for a word
    std::string valueName;          ///< "FILE"; "" for a flag
    Value value = Value::None;
    std::vector<std::string> choices; ///< of Value::Choice
    std::string range;                ///< "0 - 65535"; "" for any
    std::string usualValue;           ///< "" for none
    std::string help;                 ///< in one line
    bool isRequired = false;
    bool isRepeatable = false;
    bool isValueOptional = false;

    /// Whether what follows on the command line is this option's.
    bool takesNextWord() const { return value != Value::None && !isValueOptional; }
};

/// All that is written about a command beside its --help, from the same definitions.
struct CommandDescription
{
    std::string name;    ///< with those it is below: "dm fs ls"
    std::string purpose; ///< a sentence
    std::string footer;  ///< paragraphs, see toManPage
    std::vector<OptionDescription> words;
    std::vector<OptionDescription> options;
    std::vector<CommandDescription> commands;

    /// "ls"
    std::string lastName() const { return name.substr(name.rfind(' ') + 1); }
};

/// Describes the command and those below it, except the hidden ones.
CommandDescription describeCommand(const CLI::App& app);

/// The commands of the tree, each before those below it.
std::vector<const CommandDescription*> listCommands(const CommandDescription& root);

} // namespace tool
