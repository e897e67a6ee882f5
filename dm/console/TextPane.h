/// The printed lines, and which of them are in view: what the window is without keys and drawing.
///
/// Printed text is cut at its line feeds, wrapped and stored; the view stays at the newest line, or
/// on the text that it was scrolled to. How far the view has moved since somebody last looked is
/// counted, so that whoever draws need only make anew what came into view.
///
///     pane.print(">", "hello\n");
///     dm::console::TextPane::Change change = pane.takeChange();
///     for (u32 row = 0; row < screenLines; ++row)
///         if (const zu::String* line = pane.visibleLine(row)) ...     // row 0 is at the bottom
///
/// Threads: one at a time; ScrollingTextWindow calls it under its lock.
#pragma once

#include "dm/console/LineStore.h"

#include <dm/console.h>

#include <string_view>

namespace dm::console {

class TextPane
{
public:
    using Store = LineStore<384>;

    /// Width that text may take and lines that fit; both may be anything that a host comes up with.
    void setArea(float width, u32 lines);
    /// The lines alone: the drawing interface's line height may change.
    void setLinesOnScreen(u32 lines) { linesOnScreen = lines; }

    /// Text behind the last line feed waits for the line feed of a later call. Returns how many
    /// rows came to the store.
    u32 print(std::string_view prefix, std::string_view text);

    /// One row, with its line feed, as it is.
    void addRow(std::string_view row) { store.add(row); }

    /// Up for a positive number. Returns how far the view moved.
    int scroll(int lines) { return moveTo(zu::s64{scrollOffset} + lines); }
    int scrollBottom() { return moveTo(0); }

    /// Forgets lines and pending text, but not how far the view was scrolled.
    void clear();

    /// Counted from the bottom of the view; null where there is no line.
    const Store::Line* visibleLine(u64 row) const
    {
        return store.newest(static_cast<u64>(scrollOffset) + row);
    }

    /// 0 at the newest line.
    int getScrollOffset() const { return scrollOffset; }
    /// The largest offset that still fills the screen.
    u32 getUpmostOffset() const;

    /// What happened to the view since the last call.
    struct Change
    {
        zu::s64 movedUp = 0; ///< lines; negative: new ones came at the bottom
        bool isNew = true;   ///< what was in view is no guide to what is now
    };
    Change takeChange();

    const Store& getStore() const { return store; }
    void restore(Store&& lines);

private:
    u32 printLine(std::string_view prefix, std::string_view line);
    void keepView(u32 addedRows);
    int moveTo(zu::s64 offset);

    Store store{kMaxConsoleLines};
    zu::InplaceString<384> pendingLine; // what has no line feed yet
    float areaWidth = 1;
    u32 linesOnScreen = 0;
    int scrollOffset = 0;
    Change change;
};

} // namespace dm::console
