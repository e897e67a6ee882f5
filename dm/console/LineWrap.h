/// Breaks a line into the rows that fit a pane, between words wherever that is possible.
///
///     dm::console::LineWrap rows(line, prefix.length(), paneWidth);
///     do
///         add(prefix, rows.next());
///     while (!rows.isAtEnd());
///
/// Rows are parts of the line and joined they are the line; an empty line is one empty row. Only
/// lengths count: every character is kCharacterWidth wide. Nothing is copied or allocated, and
/// every width comes to an end, as each row takes a character at least.
///
/// Threads: any; an object belongs to one.
#pragma once

#include "dm/console/Tokenizer.h"

#include <cstddef>
#include <string_view>

namespace dm::console {

inline constexpr float kCharacterWidth = 0.01f;

inline float textWidth(size_t length) { return static_cast<float>(length) * kCharacterWidth; }

/// How many of `length` characters stay below a width.
///
/// The widths are summed up one by one, which in floats is not the same as multiplying: a row of
/// 0.06 takes six characters, not five. textWidth rounds otherwise, and both are kept, because what
/// fits a row is visible.
int fittingCharacters(size_t length, float width);

class LineWrap
{
public:
    /// The line is lent, without its line feed.
    ///
    ///   prefixLength   characters that stand before every row.
    LineWrap(std::string_view lineToWrap, size_t prefixLength, float areaWidth);

    bool isAtEnd() const { return rowBegin == line.size(); }
    std::string_view next();

private:
    void nextPiece();
    bool isOneRow(size_t prefixLength) const;

    const std::string_view line;
    const float areaWidth;
    const float prefixWidth;
    WordCutter words;
    std::string_view wordRest; ///< what of a word wider than a row has not been given out
    size_t pieceLength = 0; ///< of the word, or part of one, that comes next; 0: the line is over
    size_t rowBegin = 0;
};

} // namespace dm::console
