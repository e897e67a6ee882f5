/// What a ScrollingTextWindow is made of, and which thread may touch what.
#pragma once

#include "dm/console/CommandHistory.h"
#include "dm/console/ConsoleCache.h"
#include "dm/console/FormattedLines.h"
#include "dm/console/InputLine.h"
#include "dm/console/KeyRepeat.h"
#include "dm/console/KnownWords.h"
#include "dm/console/TextPane.h"
#include "dm/console/WindowLock.h"

#include <dm/console.h>
#include <zul/String.h>

#include <cstdarg>

namespace dm {

using Vector2 = m::Vector2Template<float>;

namespace console {

inline constexpr float kTextSize = 0.02f;
inline constexpr float kScrollBarWidth = 0.003125f;
inline constexpr float kScrollBarMinLength = 0.025f;

/// Before the command line, and before every line printed with a prefix.
inline constexpr const char* kPrompt = ">";
inline constexpr const char* kCursorText = "_";
/// Before every line printed without a prefix.
inline constexpr const char* kLinePrefix = "";

/// What a formatting print prints: "" when it is longer than kMaxConsolePrintLength.
struct PrintText
{
    PrintText(const char* format, va_list arguments)
    {
        zu::formatBounded(characters, sizeof characters, sizeof characters, format, arguments);
    }

    char characters[kMaxConsolePrintLength + 1];
};

/// Whole lines of a height; 0 when either is of no use. With an upper bound, because each line is
/// given memory.
u32 countLines(float height, float lineHeight);

} // namespace console

struct DM_NO_EXPORT ScrollingTextWindow::Parts
{
    explicit Parts(ShapeEngineInterface* engine)
        : shapeEngine(engine)
    {
    }

    // Never changes.
    ShapeEngineInterface* const shapeEngine;

    // Any thread prints and the drawing thread does everything else to these, under the lock. It is
    // not held while the drawing interface is called, which may itself print, nor while a file is
    // read or written.
    console::WindowLock lock;
    console::TextPane pane;
    bool cacheDirty = false;

    // The rest is the drawing thread's alone.

    bool visible = false;
    Vector2 windowPosition;
    Vector2 windowSize{1, 1};
    Vector2 textAreaSize{1, 1};
    Vector2 commandLinePosition;
    float commandLineWidth = 1;

    InputLine inputLine;
    CommandHistory history;
    KeyRepeat keyRepeat;
    KnownWords knownWords;
    AliasMap aliases;
    int commandLineScroll = 0; ///< the first character shown

    // What the frame shows, as of the last look under the lock.
    console::FormattedLines formattedLines;
    size_t lineCount = 0;
    size_t scrollOffset = 0;
    u32 linesOnScreen = 0;

    // Kept for their memory.
    zu::Vector<console::TextPane::Store::Line> copiedLines;
    zu::InplaceString<256> shownText;
    console::StoreImage savedLines;
    console::StoreImage savedCommands;

    void renderCommandLine();
    void followView();
    void renderLines(float lineHeight);
};

} // namespace dm
