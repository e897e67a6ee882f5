#include "dm/console/Tokenizer.h"

#include "dm/console/Characters.h"

#include <dm/console.h>

namespace dm {

namespace console {

namespace {

constexpr int kNothing = -1;

template <typename Predicate>
size_t runEnd(std::string_view text, size_t from, Predicate belongs)
{
    while (from < text.size() && belongs(text[from]))
        ++from;
    return from;
}

int matchLength(size_t begin, size_t end)
{
    return end > begin ? static_cast<int>(end - begin) : kNothing;
}

// Numbers are words only where white space or the end follows.
bool isNumberEnd(std::string_view text, size_t end)
{
    return end == text.size() || isWhitespace(text[end]);
}

template <typename Predicate>
int scanNumber(std::string_view text, size_t position, Predicate belongs)
{
    if (position >= text.size())
        return kNothing;
    const size_t first = position + (isSign(text[position]) ? 1 : 0);
    const size_t end = runEnd(text, first, belongs);
    return end > first && isNumberEnd(text, end) ? matchLength(position, end) : kNothing;
}

} // namespace

int scanWhitespace(std::string_view text, size_t position)
{
    return matchLength(position, runEnd(text, position, isWhitespace));
}

int scanIdentifier(std::string_view text, size_t position)
{
    return matchLength(position, runEnd(text, position, isIdentifierCharacter));
}

int scanInteger(std::string_view text, size_t position)
{
    return scanNumber(text, position, isDigit);
}

int scanFloat(std::string_view text, size_t position)
{
    return scanNumber(text, position, isFloatCharacter);
}

int scanHex(std::string_view text, size_t position)
{
    // The whole text counts: "0x" at the end of a longer one is a number, alone it is a word.
    constexpr size_t kShortestText = 3;
    if (text.size() < kShortestText || position >= text.size() || text.size() - position < 2)
        return kNothing;
    const char mark = text[position + 1];
    if (text[position] != '0' || (mark != 'x' && mark != 'X'))
        return kNothing;
    const size_t end = runEnd(text, position + 2, isHexCharacter);
    return isNumberEnd(text, end) ? matchLength(position, end) : kNothing;
}

int scanQuoted(std::string_view text, size_t position)
{
    if (position >= text.size() || text[position] != '"')
        return kNothing;
    const size_t end = text.find('"', position + 1);
    return end == std::string_view::npos ? kNothing : matchLength(position, end + 1);
}

size_t WordCutter::wordLength()
{
    const char first = text[position];
    int length = kNothing;
    if (isWhitespace(first))
        length = scanWhitespace(text, position);
    else if (first == '"')
        length = scanQuoted(text, position);
    else {
        if (isDigit(first) || isSign(first))
            length = numberLength();
        if (length == kNothing)
            length = scanIdentifier(text, position);
    }
    return length == kNothing ? 1 : static_cast<size_t>(length);
}

int WordCutter::numberLength()
{
    int length = scanInteger(text, position);
    if (length != kNothing)
        return length;
    // "1.1.1.1;" is cut at each dot, and from each the same run leads to the same end. So a run
    // that led nowhere is not walked again: printing a long one would take for ever.
    if (isSign(text[position]) || position >= fractionFailsUntil) {
        length = scanFloat(text, position);
        if (length != kNothing)
            return length;
        fractionFailsUntil = runEnd(text, position + 1, isFloatCharacter);
    }
    return scanHex(text, position);
}

} // namespace console

namespace {

template <typename Scanner>
int scanAt(const zu::String& text, int pos, Scanner scanner)
{
    return pos < 0 ? -1 : scanner(text.view(), static_cast<size_t>(pos));
}

} // namespace

void tokenizeLine(WordList& words, const zu::String& text)
{
    console::WordCutter cutter(text.view());
    for (std::string_view word; cutter.next(word);)
        words.emplace_back(word.data(), word.size());
}

int scanWhitespace(const zu::String& text, int pos)
{
    return scanAt(text, pos, [](auto... at) { return console::scanWhitespace(at...); });
}

int scanIdentifier(const zu::String& text, int pos)
{
    return scanAt(text, pos, [](auto... at) { return console::scanIdentifier(at...); });
}

int scanInteger(const zu::String& text, int pos)
{
    return scanAt(text, pos, [](auto... at) { return console::scanInteger(at...); });
}

int scanFloat(const zu::String& text, int pos)
{
    return scanAt(text, pos, [](auto... at) { return console::scanFloat(at...); });
}

int scanHex(const zu::String& text, int pos)
{
    return scanAt(text, pos, [](auto... at) { return console::scanHex(at...); });
}

int scanQuoted(const zu::String& text, int pos)
{
    return scanAt(text, pos, [](auto... at) { return console::scanQuoted(at...); });
}

} // namespace dm
