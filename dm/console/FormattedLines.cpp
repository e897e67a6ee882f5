#include "dm/console/FormattedLines.h"

namespace dm::console {

void FormattedLines::resize(u32 rows)
{
    for (ColoredLine& line : lines)
        line.clear();
    lines.resize(rows);
    position = 0;
}

FormattedLines::Range FormattedLines::follow(const TextPane::Change& change)
{
    const zu::s64 rows = size();
    const zu::s64 up = change.movedUp;
    if (change.isNew || up >= rows || up <= -rows)
        return {0, size()};
    // Rows go down on the screen when the view goes up.
    position = static_cast<u32>((position + rows + up) % rows);
    return up < 0 ? Range{0, static_cast<u32>(-up)}
                  : Range{static_cast<u32>(rows - up), static_cast<u32>(rows)};
}

} // namespace dm::console
