#include "tools/sandbox/Variables.h"

#include <algorithm>
#include <charconv>
#include <cmath>

namespace sandbox {

namespace {

std::string quoted(std::string_view text) { return '"' + std::string(text) + '"'; }

[[noreturn]] void refuse(const Variables::Variable& variable, std::string_view text)
{
    throw VariableError(variable.name + " cannot be " + quoted(text) + ": it is " +
                        describe(variable));
}

template <typename T>
std::string numberText(T number)
{
    char buffer[64];
    const auto end = std::to_chars(buffer, buffer + sizeof buffer, number).ptr;
    return std::string(buffer, end);
}

template <typename T>
T parseNumber(const Variables::Variable& variable, std::string_view text)
{
    T number{};
    const char* const end = text.data() + text.size();
    const char* const begin = text.data() + (!text.empty() && text.front() == '+' ? 1 : 0);
    const auto [stop, error] = std::from_chars(begin, end, number);
    const auto inRange = [&](double value) {
        return value >= variable.low && value <= variable.high; // false for what is no number
    };
    if (error != std::errc() || stop != end || !inRange(static_cast<double>(number)))
        refuse(variable, text);
    return number;
}

bool parseBool(const Variables::Variable& variable, std::string_view text)
{
    const std::string word = toLower(text);
    for (const char* const yes : {"on", "true", "1", "yes"}) {
        if (word == yes)
            return true;
    }
    for (const char* const no : {"off", "false", "0", "no"}) {
        if (word == no)
            return false;
    }
    refuse(variable, text);
}

struct Parser
{
    const Variables::Variable& variable;
    std::string_view text;

    Variables::Value operator()(bool) const { return parseBool(variable, text); }
    Variables::Value operator()(int) const { return parseNumber<int>(variable, text); }
    Variables::Value operator()(float) const { return parseNumber<float>(variable, text); }
    Variables::Value operator()(const std::string&) const
    {
        std::string value(text);
        const bool fits = text.size() <= variable.maxLength &&
                          (!variable.shape.accepts || variable.shape.accepts(value));
        if (!fits)
            refuse(variable, text);
        return value;
    }
};

struct Writer
{
    std::string operator()(bool value) const { return value ? "on" : "off"; }
    std::string operator()(int value) const { return numberText(value); }
    std::string operator()(float value) const { return numberText(value); }
    std::string operator()(const std::string& value) const { return quoted(value); }
};

} // namespace

std::string toLower(std::string_view text)
{
    std::string lower(text);
    std::transform(lower.begin(), lower.end(), lower.begin(), [](char character) {
        return character >= 'A' && character <= 'Z' ? static_cast<char>(character + 'a' - 'A')
                                                    : character;
    });
    return lower;
}

std::string toText(const Variables::Value& value) { return std::visit(Writer(), value); }

std::string describe(const Variables::Variable& variable)
{
    std::string kind;
    if (std::holds_alternative<bool>(variable.value))
        kind = "on or off";
    else if (variable.shape.accepts)
        kind = variable.shape.description;
    else if (std::holds_alternative<std::string>(variable.value))
        kind = "a text of at most " + numberText(variable.maxLength) + " characters";
    else
        kind = std::string(std::holds_alternative<int>(variable.value) ? "a whole number"
                                                                       : "a number") +
               " from " + numberText(static_cast<float>(variable.low)) + " to " +
               numberText(static_cast<float>(variable.high));
    return kind + ", default " + toText(variable.initial);
}

template <typename T>
const T& Variables::add(Variable variable)
{
    const std::string key = toLower(variable.name);
    variable.initial = variable.value;
    return std::get<T>(variables.emplace(key, std::move(variable)).first->second.value);
}

const bool& Variables::addBool(const char* name, bool initial, const char* help)
{
    return add<bool>({name, help, initial, {}, 0, 0, 0, {}});
}

const int& Variables::addInt(const char* name, int initial, int low, int high, const char* help)
{
    return add<int>(
        {name, help, initial, {}, static_cast<double>(low), static_cast<double>(high), 0, {}});
}

const float& Variables::addFloat(const char* name, float initial, float low, float high,
                                 const char* help)
{
    return add<float>({name, help, initial, {}, low, high, 0, {}});
}

const std::string& Variables::addText(const char* name, const char* initial, size_t maxLength,
                                      const char* help, TextShape shape)
{
    return add<std::string>({name, help, std::string(initial), {}, 0, 0, maxLength, shape});
}

void Variables::set(std::string_view name, std::string_view text)
{
    Variable& variable = access(name);
    if (toLower(text) == "default")
        variable.value = variable.initial;
    else
        variable.value = std::visit(Parser{variable, text}, variable.initial);
}

void Variables::toggle(std::string_view name)
{
    Variable& variable = access(name);
    if (!std::holds_alternative<bool>(variable.value))
        throw VariableError(variable.name + " cannot be toggled: it is " + describe(variable));
    variable.value = !std::get<bool>(variable.value);
}

std::string Variables::get(std::string_view name) const { return toText(find(name).value); }

bool Variables::contains(std::string_view name) const
{
    return variables.find(toLower(name)) != variables.end();
}

const Variables::Variable& Variables::find(std::string_view name) const
{
    const auto found = variables.find(toLower(name));
    if (found == variables.end())
        throw VariableError("there is no variable " + quoted(name) + "; get lists them");
    return found->second;
}

Variables::Variable& Variables::access(std::string_view name)
{
    return const_cast<Variable&>(find(name));
}

} // namespace sandbox
