#include "dm/console/TextPane.h"

#include "dm/console/LineWrap.h"

#include <algorithm>
#include <utility>

namespace dm::console {

void TextPane::setArea(float width, u32 lines)
{
    areaWidth = width;
    linesOnScreen = lines;
    change.isNew = true;
}

u32 TextPane::print(std::string_view prefix, std::string_view text)
{
    u32 rows = 0;
    size_t begin = 0;
    for (size_t end = 0; (end = text.find('\n', begin)) != text.npos; begin = end + 1) {
        const std::string_view line = text.substr(begin, end - begin);
        if (pendingLine.empty()) {
            rows += printLine(prefix, line);
        } else {
            pendingLine.append(line.data(), line.size());
            rows += printLine(prefix, pendingLine.view());
            pendingLine.clear();
        }
    }
    pendingLine.append(text.data() + begin, text.size() - begin);
    return rows;
}

u32 TextPane::printLine(std::string_view prefix, std::string_view line)
{
    u32 added = 0;
    LineWrap rows(line, prefix.size(), areaWidth);
    do {
        const std::string_view row = rows.next();
        Store::Line& stored = store.add();
        stored.append(prefix.data(), prefix.size());
        stored.append(row.data(), row.size());
        stored.append('\n');
        ++added;
    } while (!rows.isAtEnd());
    keepView(added);
    return added;
}

// A view that was scrolled up stays on its text. Not so one at the very top of a full store, whose
// text is going, and what was at the bottom stays there.
void TextPane::keepView(u32 addedRows)
{
    if (scrollOffset == 0 || static_cast<u32>(scrollOffset) == getUpmostOffset()) {
        change.movedUp -= addedRows;
        return;
    }
    const zu::s64 sameText = zu::s64{scrollOffset} + addedRows;
    scrollOffset = static_cast<int>(std::min<zu::s64>(sameText, getUpmostOffset()));
    if (scrollOffset != sameText)
        change.isNew = true;
}

int TextPane::moveTo(zu::s64 offset)
{
    const int target = static_cast<int>(std::clamp<zu::s64>(offset, 0, getUpmostOffset()));
    const int moved = target - std::exchange(scrollOffset, target);
    change.movedUp += moved;
    return moved;
}

u32 TextPane::getUpmostOffset() const
{
    const size_t lines = store.size();
    return lines > linesOnScreen ? static_cast<u32>(lines - linesOnScreen) : 0;
}

void TextPane::clear()
{
    store.clear();
    pendingLine.clear();
    change = Change();
}

TextPane::Change TextPane::takeChange() { return std::exchange(change, Change{0, false}); }

void TextPane::restore(Store&& lines)
{
    store = std::move(lines);
    change = Change();
}

} // namespace dm::console
