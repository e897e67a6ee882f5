/// The rows on screen in their colours, kept from frame to frame: when the view moves, rows that
/// stay in view move along, and only those that came into view are coloured.
///
/// A ring: moving the view moves its position, not the rows.
///
/// Threads: the one that draws.
#pragma once

#include "dm/console/Coloring.h"
#include "dm/console/TextPane.h"

namespace dm::console {

class FormattedLines
{
public:
    /// Empties all rows and sets their number.
    void resize(u32 rows);

    u32 size() const { return static_cast<u32>(lines.size()); }

    /// Rows, counted from the bottom; half open.
    struct Range
    {
        u32 begin = 0;
        u32 end = 0;
    };

    /// Moves the rows as the view has moved. Returns those that must be made anew; what they hold
    /// is of no use.
    Range follow(const TextPane::Change& change);

    /// row is below size().
    ColoredLine& operator[](u32 row) { return lines[slot(row)]; }
    const ColoredLine& operator[](u32 row) const { return lines[slot(row)]; }

private:
    size_t slot(u32 row) const
    {
        const u32 below = position + row;
        return below < size() ? below : below - size();
    }

    zu::Vector<ColoredLine> lines;
    u32 position = 0; // where row 0 is, below size(); 0 for none
};

} // namespace dm::console
