/// Cuts console text into words, without copying or allocating: what tokenizeLine and the exported
/// scanners stand on.
///
///     dm::console::WordCutter cutter(line);
///     for (std::string_view word; cutter.next(word);)
///         ...
///
/// Threads: any; a cutter belongs to one.
#pragma once

#include <string_view>

namespace dm::console {

// Length of what stands at `position`, or -1, as the exported scanners of the same names.

int scanWhitespace(std::string_view text, size_t position);
int scanIdentifier(std::string_view text, size_t position);
int scanInteger(std::string_view text, size_t position);
int scanFloat(std::string_view text, size_t position);
int scanHex(std::string_view text, size_t position);
int scanQuoted(std::string_view text, size_t position);

/// Gives the words of a text one after the other; joined they are the text. Takes time in
/// proportion to the text, whatever stands in it. The text is lent.
class WordCutter
{
public:
    explicit WordCutter(std::string_view textToCut)
        : text(textToCut)
    {
    }

    /// False at the end.
    bool next(std::string_view& word)
    {
        if (position >= text.size())
            return false;
        word = text.substr(position, wordLength());
        position += word.size();
        return true;
    }

private:
    size_t wordLength();
    int numberLength();

    std::string_view text;
    size_t position = 0;
    size_t fractionFailsUntil = 0; ///< no number with a fraction begins with a digit before here
};

} // namespace dm::console
