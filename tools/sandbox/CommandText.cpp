#include "tools/sandbox/CommandText.h"

#include "tools/sandbox/Variables.h"

#include <algorithm>

namespace sandbox {

namespace {

constexpr std::string_view kBlanks = " \t\r\n\v\f";

std::string_view trim(std::string_view text)
{
    const size_t begin = text.find_first_not_of(kBlanks);
    if (begin == std::string_view::npos)
        return {};
    return text.substr(begin, text.find_last_not_of(kBlanks) - begin + 1);
}

/// Takes the first word off a text without blanks before it. An open quote is a character.
std::string takeWord(std::string_view& text)
{
    const size_t quoteEnd = text.front() == '"' ? text.find('"', 1) : std::string_view::npos;
    std::string word;
    if (quoteEnd != std::string_view::npos) {
        word = text.substr(1, quoteEnd - 1);
        text.remove_prefix(quoteEnd + 1);
    } else {
        word = text.substr(0, text.find_first_of(kBlanks));
        text.remove_prefix(word.size());
    }
    text = trim(text);
    return word;
}

} // namespace

std::string CommandText::restFrom(size_t word) const
{
    std::string_view text = rest;
    for (; word > 0 && !text.empty(); --word)
        takeWord(text);
    const bool isQuoted =
        text.size() >= 2 && text.front() == '"' && text.find('"', 1) == text.size() - 1;
    return std::string(isQuoted ? text.substr(1, text.size() - 2) : text);
}

CommandText parseCommand(std::string_view command)
{
    CommandText parsed;
    std::string_view text = trim(command);
    if (!text.empty() && text.back() == ';')
        text = trim(text.substr(0, text.size() - 1));
    const size_t nameEnd = text.find_first_of(" \t\r\n\v\f(");
    parsed.name = toLower(text.substr(0, nameEnd));
    text.remove_prefix(std::min(nameEnd, text.size()));
    const bool isCall = text.size() >= 2 && text.front() == '(' && text.back() == ')';
    text = trim(text);
    if (isCall)
        text = trim(text.substr(1, text.size() - 2));
    parsed.rest = text;
    while (!text.empty())
        parsed.words.push_back(takeWord(text));
    return parsed;
}

} // namespace sandbox
