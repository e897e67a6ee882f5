/// Gives each word of a line its colour.
///
///     set x "a b" 0x1f;     set an alias or a known word, "a b" quoted, 0x1f a number, ...
///
/// Threads: one at a time, the one that changes aliases and known words.
#pragma once

#include <dm/console.h>

#include <array>
#include <string_view>

namespace dm {
class KnownWords;
}

namespace dm::console {

/// A line in colours, in two blocks of memory however many words it has: frames walk thousands of
/// words, and what they walk should lie close together.
class ColoredLine
{
public:
    struct Run
    {
        g::Color color;
        u32 begin; ///< within the texts
        u32 length;
    };

    /// Keeps the memory.
    void clear()
    {
        runs.clear();
        texts.clear();
    }
    void add(const g::Color& color, std::string_view text)
    {
        runs.push_back({color, static_cast<u32>(texts.length()), static_cast<u32>(text.size())});
        texts.append(text.data(), text.size());
        texts.append('\0');
    }

    auto begin() const { return runs.begin(); }
    auto end() const { return runs.end(); }
    /// Zero-terminated, and may hold zeros as well.
    const char* getText(const Run& run) const { return texts.data() + run.begin; }

private:
    zu::Vector<Run> runs;
    zu::String texts; // one after the other, each with a zero behind it
};

/// In the order of the window's palette.
enum class ColorRole
{
    Plain, ///< white space, and words that mean nothing here
    Quoted,
    Number,
    KnownWord,
    Other, ///< punctuation
    Alias,
};

inline constexpr std::array<g::Color, 6> kPalette = {
    g::Color(208, 208, 96),  g::Color(128, 208, 208), g::Color(160, 255, 255),
    g::Color(176, 176, 176), g::Color(255, 255, 255), g::Color(0, 255, 255)};

/// Of one word, as the tokenizer cuts it. Numbers come before names: "e" is one, and so is ".".
ColorRole roleOf(std::string_view word, const AliasMap& aliases, const KnownWords& knownWords);

/// Replaces `out` by the words of the line.
void colorLine(ColoredLine& out, std::string_view line, const AliasMap& aliases,
               const KnownWords& knownWords);

} // namespace dm::console
