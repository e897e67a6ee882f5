#include "tools/fileserver/CommandLine.h"

#include <algorithm>
#include <charconv>
#include <cstddef>

namespace fileserver {

namespace {

constexpr const char* kNotQuoted = "what follows the command is not one path in double quotes";
constexpr const char* kNotTwoQuoted = "what follows the command are not two paths in double quotes";
constexpr const char* kAmbiguous = "with these double quotes it has more than one meaning";
constexpr const char* kNoNumber = "a position or count is not a decimal number of 32 bits";
constexpr const char* kNegative = "a position or count is negative";
constexpr const char* kNoFlag = "the last argument is neither 0 nor 1";
constexpr const char* kZero = "there is a zero byte in it";
constexpr const char* kTooMuch = "there is more than the command takes";

std::string_view firstWord(std::string_view line) { return line.substr(0, line.find(' ')); }

bool takeBlank(std::string_view& rest)
{
    if (!rest.starts_with(' '))
        return false;
    rest.remove_prefix(1);
    return true;
}

/// `"PATH"`, up to the last quote.
const char* readPath(std::string_view rest, std::string_view& outPath)
{
    if (rest.size() < 2 || rest.front() != '"' || rest.back() != '"')
        return kNotQuoted;
    outPath = rest.substr(1, rest.size() - 2);
    return nullptr;
}

/// `"FIRST" "SECOND"`, where only one of the quotes can end the first.
const char* readTwoPaths(std::string_view rest, std::string_view& outFirst,
                         std::string_view& outSecond)
{
    constexpr std::string_view kBetween = "\" \"";
    std::string_view both;
    if (readPath(rest, both) != nullptr)
        return kNotTwoQuoted;
    const size_t middle = both.find(kBetween);
    if (middle == both.npos)
        return kNotTwoQuoted;
    if (both.find(kBetween, middle + 1) != both.npos)
        return kAmbiguous;
    outFirst = both.substr(0, middle);
    outSecond = both.substr(middle + kBetween.size());
    return nullptr;
}

/// A number as printf's %i prints it: no sign but '-', no leading zeros.
const char* readNumber(std::string_view& rest, dm::uint32& outNumber)
{
    std::string_view digits = firstWord(rest);
    int number = 0;
    const char* const end = digits.data() + digits.size();
    const auto result = std::from_chars(digits.data(), end, number);
    if (result.ec != std::errc() || result.ptr != end)
        return kNoNumber;
    rest.remove_prefix(digits.size());
    if (number < 0)
        return kNegative;
    if (digits.front() == '-' || (digits.size() > 1 && digits.front() == '0'))
        return kNoNumber;
    outNumber = static_cast<dm::uint32>(number);
    return nullptr;
}

const char* readRangeAndPath(std::string_view rest, ParsedCommand& out)
{
    const char* error = readNumber(rest, out.position);
    if (error == nullptr)
        error = takeBlank(rest) ? readNumber(rest, out.count) : kNoNumber;
    if (error != nullptr)
        return error;
    return takeBlank(rest) ? readPath(rest, out.path) : kNotQuoted;
}

const char* readSearch(std::string_view rest, ParsedCommand& out)
{
    if (!rest.ends_with(" 0") && !rest.ends_with(" 1"))
        return kNoFlag;
    out.isRecursive = rest.back() == '1';
    return readTwoPaths(rest.substr(0, rest.size() - 2), out.path, out.filter);
}

const char* readArguments(Arguments arguments, std::string_view rest, ParsedCommand& out)
{
    if (arguments == Arguments::None)
        return rest.empty() ? nullptr : kTooMuch;
    if (!takeBlank(rest))
        return kNotQuoted;
    switch (arguments) {
    case Arguments::None:
        break;
    case Arguments::Path:
        return readPath(rest, out.path);
    case Arguments::TwoPaths:
        return readTwoPaths(rest, out.path, out.secondPath);
    case Arguments::RangeAndPath:
        return readRangeAndPath(rest, out);
    case Arguments::Search:
        return readSearch(rest, out);
    }
    return kTooMuch;
}

} // namespace

const CommandSyntax* findCommand(std::string_view line)
{
    const std::string_view word = firstWord(line);
    const auto found = std::find_if(kCommands.begin(), kCommands.end(),
                                    [word](const auto& command) { return command.name == word; });
    return found != kCommands.end() ? &*found : nullptr;
}

bool parse(const CommandSyntax& command, std::string_view line, ParsedCommand& out,
           const char*& outError)
{
    ParsedCommand parsed;
    outError = line.find('\0') != line.npos
                   ? kZero
                   : readArguments(command.arguments, line.substr(command.name.size()), parsed);
    if (outError == nullptr)
        out = parsed;
    return outError == nullptr;
}

} // namespace fileserver
