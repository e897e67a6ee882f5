#include "dm/console/CommandSplit.h"

namespace dm {

namespace {

bool isWholeLine(const WordList& words)
{
    return !words.empty() &&
           (words.front().equalsNoCase("alias") || words.front().equalsNoCase("bind"));
}

} // namespace

void endWithSemicolon(WordList& words)
{
    if (words.empty() || words.back().empty())
        return;
    zu::InplaceString<256>& last = words.back();
    if (last[last.length() - 1] != ';')
        last += ';';
}

CommandSplit::CommandSplit(const WordList& line)
    : words(line)
    , isWhole(isWholeLine(line))
{
}

bool CommandSplit::next(zu::InplaceString<128>& command)
{
    command.clear();
    while (position < words.size()) {
        const zu::InplaceString<256>& word = words[position++];
        // By its first character: a blank that got the line's last ";" is no command either.
        if (command.empty() && scanWhitespace(word, 0) >= 0)
            continue;
        command += word;
        if (position == words.size() || (!isWhole && word == ";"))
            return true;
    }
    return false;
}

zu::InplaceString<128> echoText(const zu::String& command)
{
    zu::InplaceString<128> text;
    for (size_t i = 0; i < command.length(); ++i) {
        text += command[i];
        if (command[i] == '%' && command[i + 1] == '%')
            ++i;
    }
    return text;
}

} // namespace dm
