/// The game's variables, which the console sets: typed, with a range and a default.
///
///     Variables variables;
///     const float& speed = variables.addFloat("speed", 1, 0, 10, "How fast time passes.");
///     variables.set("speed", "2.5");
///
/// Names are found without regard to case. What is wrong with a value is told by VariableError, and
/// the variable stays as it was.
///
/// Ownership: the references live as long as the Variables.
#pragma once

#include <map>
#include <stdexcept>
#include <string>
#include <string_view>
#include <variant>

namespace sandbox {

/// For the person at the console: which variable, and what was wrong.
class VariableError : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

/// What a text may be, beyond its length.
struct TextShape
{
    bool (*accepts)(const std::string& text) = nullptr; ///< null: anything
    const char* description = "";
};

class Variables
{
public:
    using Value = std::variant<bool, int, float, std::string>;

    struct Variable
    {
        std::string name;
        std::string help;
        Value value;
        Value initial;
        double low = 0; ///< of a number
        double high = 0;
        size_t maxLength = 0; ///< of a text
        TextShape shape;
    };

    Variables() = default;
    Variables(const Variables&) = delete;
    Variables& operator=(const Variables&) = delete;

    const bool& addBool(const char* name, bool initial, const char* help);
    const int& addInt(const char* name, int initial, int low, int high, const char* help);
    const float& addFloat(const char* name, float initial, float low, float high, const char* help);
    const std::string& addText(const char* name, const char* initial, size_t maxLength,
                               const char* help, TextShape shape = {});

    /// "default" stands for the initial value; a bool is on, off, true, false, 1, 0, yes or no.
    void set(std::string_view name, std::string_view text);
    void toggle(std::string_view name);

    /// The value as `set` takes it.
    std::string get(std::string_view name) const;

    bool contains(std::string_view name) const;
    const Variable& find(std::string_view name) const;

    /// By name.
    const std::map<std::string, Variable>& all() const { return variables; }

private:
    Variable& access(std::string_view name);
    template <typename T>
    const T& add(Variable variable);

    std::map<std::string, Variable> variables; // by the name in lower case
};

/// "0.5", "on" or "\"a text\"": as it is shown.
std::string toText(const Variables::Value& value);

/// "a number from 0 to 10, default 1": what may be in it.
std::string describe(const Variables::Variable& variable);

std::string toLower(std::string_view text);

} // namespace sandbox
