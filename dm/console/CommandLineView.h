/// Which part of a long command line is shown: it scrolls sideways so that the cursor stays in
/// view.
#pragma once

#include <cstddef>

namespace dm {

struct CommandLineView
{
    int scroll = 0; ///< the first character shown; keep it for the next frame
    // Half open; the character that crosses the right edge is shown.
    size_t shownBegin = 0;
    size_t shownEnd = 0;
};

/// What the view is computed from. Widths are in the drawing interface's measure.
struct CommandLineGeometry
{
    size_t length = 0; ///< of the text
    size_t cursor = 0; ///< 0 to length
    float width = 0;   ///< of the command line, prompt included
    float promptWidth = 0;
    float cursorWidth = 0; ///< needs room only behind the last character
};

/// characterWidth: float(size_t index), asked only for as many characters as fit, and the cursor's
/// surroundings. Widths may be anything, NaN too: the range returned is within the text, and scroll
/// within 0 and the cursor.
///
///   scroll   what the last frame's view had.
template <typename CharacterWidth>
CommandLineView viewCommandLine(const CommandLineGeometry& line, int scroll,
                                const CharacterWidth& characterWidth)
{
    const size_t begin =
        scroll > 0 ? (static_cast<size_t>(scroll) < line.cursor ? static_cast<size_t>(scroll)
                                                                : line.cursor)
                   : 0;
    const float fixedWidth =
        line.promptWidth + (line.cursor == line.length ? line.cursorWidth : 0.0f);

    float x = fixedWidth;
    size_t crossing = begin;
    for (; crossing < line.length; ++crossing) {
        x += characterWidth(crossing);
        if (x >= line.width)
            break;
    }
    if (crossing == line.length)
        return {static_cast<int>(begin), begin, line.length};
    if (line.cursor <= crossing)
        return {static_cast<int>(begin), begin, crossing + 1};

    // The cursor is beyond the edge: the view ends with it.
    const size_t last = line.cursor == line.length ? line.cursor - 1 : line.cursor;
    x = fixedWidth;
    for (size_t index = last + 1; index-- > 0;) {
        x += characterWidth(index);
        if (x >= line.width) {
            // Where not even the cursor's own character fits, nothing is shown.
            const size_t first = index < line.cursor ? index + 1 : line.cursor;
            return {static_cast<int>(first), first, index < last ? last + 1 : first};
        }
    }
    return {static_cast<int>(begin), begin, line.length};
}

} // namespace dm
