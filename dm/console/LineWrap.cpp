#include "dm/console/LineWrap.h"

#include <algorithm>

namespace dm::console {

int fittingCharacters(size_t length, float width)
{
    float used = 0;
    for (size_t count = 0; count < length; ++count) {
        used += kCharacterWidth;
        if (used >= width)
            return static_cast<int>(count);
    }
    return static_cast<int>(length);
}

LineWrap::LineWrap(std::string_view lineToWrap, size_t prefixLength, float paneWidth)
    : line(lineToWrap)
    , areaWidth(paneWidth)
    , prefixWidth(textWidth(prefixLength))
    , words(isOneRow(prefixLength) ? std::string_view() : lineToWrap)
    , wordRest(isOneRow(prefixLength) ? lineToWrap : std::string_view())
{
    nextPiece();
}

// Whether the line fits with so much to spare that no rounding matters, nor where its words end.
bool LineWrap::isOneRow(size_t prefixLength) const
{
    constexpr size_t kMostCharacters = 1000;
    constexpr float kSpare = 0.99f;
    const size_t length = line.size() + prefixLength;
    return length < kMostCharacters && textWidth(length) < kSpare * areaWidth;
}

// A word that is as wide as the room beside the prefix, or wider, is broken: not even a row of its
// own would take it. A part keeps a character at least, however narrow the room.
void LineWrap::nextPiece()
{
    pieceLength = 0;
    if (wordRest.empty() && !words.next(wordRest))
        return;
    pieceLength = wordRest.size();
    const float room = areaWidth - prefixWidth;
    if (textWidth(pieceLength) >= room)
        pieceLength = static_cast<size_t>(std::max(1, fittingCharacters(pieceLength, room)));
    wordRest.remove_prefix(pieceLength);
}

std::string_view LineWrap::next()
{
    // What comes first in a row belongs to it, even if by the sum of widths it does not fit: there
    // is no wider row to leave it to.
    float width = prefixWidth;
    size_t length = 0;
    do {
        width += textWidth(pieceLength);
        if (length != 0 && width >= areaWidth)
            break;
        length += pieceLength;
        nextPiece();
    } while (pieceLength != 0);
    const std::string_view row = line.substr(rowBegin, length);
    rowBegin += length;
    return row;
}

} // namespace dm::console
