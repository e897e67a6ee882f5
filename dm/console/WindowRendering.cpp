#include "dm/console/CommandLineView.h"
#include "dm/console/WindowParts.h"

#include <algorithm>

namespace dm {

namespace {

constexpr g::Color kBackdropColor(0, 0, 0, 127);
constexpr g::Color kTrackColor(80, 80, 80);
constexpr g::Color kHandleColor(215, 209, 209);

} // namespace

void ScrollingTextWindow::renderVisibleText()
{
    if (!parts->visible)
        return;
    ShapeEngineInterface& engine = *parts->shapeEngine;
    engine.begin();
    engine.setColor(kBackdropColor);
    engine.drawRectangle({0, 0}, {1, 1});

    engine.setTextSize(console::kTextSize);
    engine.setColor(g::Color::White);
    const float lineHeight = engine.getLineHeight();
    parts->linesOnScreen = console::countLines(parts->windowSize.y, lineHeight);
    parts->renderCommandLine();
    parts->followView();
    parts->renderLines(lineHeight);
    renderScrollBar();
}

void ScrollingTextWindow::Parts::renderCommandLine()
{
    ShapeEngineInterface& engine = *shapeEngine;
    engine.drawText(commandLinePosition, console::kPrompt);

    const zu::String& text = inputLine.getText();
    CommandLineGeometry line;
    line.length = text.length();
    line.cursor = static_cast<size_t>(inputLine.getCursor());
    line.width = commandLineWidth;
    line.promptWidth = engine.getTextExtent(console::kPrompt).x;
    line.cursorWidth = engine.getTextExtent(console::kCursorText).x;
    const auto characterWidth = [&](size_t index) {
        const char character[] = {text[index], '\0'};
        return engine.getTextExtent(character).x;
    };
    const CommandLineView view = viewCommandLine(line, commandLineScroll, characterWidth);
    commandLineScroll = view.scroll;

    shownText.assign(text.data() + view.shownBegin, view.shownEnd - view.shownBegin);
    engine.drawText({commandLinePosition.x + line.promptWidth, commandLinePosition.y},
                    shownText.c_str());

    const size_t scroll = static_cast<size_t>(view.scroll);
    shownText.assign(console::kPrompt);
    shownText.append(text.data() + scroll, line.cursor - scroll);
    const float cursorX = commandLinePosition.x + engine.getTextExtent(shownText.c_str()).x;
    engine.drawText({cursorX, commandLinePosition.y}, console::kCursorText);
}

// Brings the coloured lines up to date with the view.
void ScrollingTextWindow::Parts::followView()
{
    console::FormattedLines::Range changed;
    {
        const console::WindowLock::DrawGuard guard(lock);
        pane.setLinesOnScreen(linesOnScreen);
        lineCount = pane.getStore().size();
        scrollOffset = static_cast<size_t>(pane.getScrollOffset());
        changed = formattedLines.follow(pane.takeChange());
        // Copied, because threads that print should not have to wait for the colours.
        if (copiedLines.size() < changed.end - changed.begin)
            copiedLines.resize(changed.end - changed.begin);
        for (u32 row = changed.begin; row < changed.end; ++row) {
            const zu::String* const line = pane.visibleLine(row);
            zu::String& copy = copiedLines[row - changed.begin];
            copy.clear();
            if (line)
                copy.append(*line);
        }
    }
    for (u32 row = changed.begin; row < changed.end; ++row)
        console::colorLine(formattedLines[row], copiedLines[row - changed.begin].view(), aliases,
                           knownWords);
}

void ScrollingTextWindow::Parts::renderLines(float lineHeight)
{
    ShapeEngineInterface& engine = *shapeEngine;
    // The screen may have room for lines that are gone, or were never there.
    const size_t present = lineCount - std::min(lineCount, scrollOffset);
    const u32 rows = static_cast<u32>(std::min<size_t>(formattedLines.size(), present));
    float y = windowPosition.y + windowSize.y - lineHeight;
    for (u32 row = 0; row < rows; ++row, y -= lineHeight) {
        const console::ColoredLine& line = formattedLines[row];
        float x = windowPosition.x;
        for (const console::ColoredLine::Run& run : line) {
            const char* const text = line.getText(run);
            engine.setColor(run.color);
            engine.drawText({x, y}, text);
            x += engine.getTextExtent(text).x;
        }
    }
}

void ScrollingTextWindow::renderScrollBar()
{
    ShapeEngineInterface& engine = *parts->shapeEngine;
    const Vector2 position = parts->windowPosition;
    const Vector2 size = parts->windowSize;
    const float lines = static_cast<float>(parts->lineCount);
    const float linesOnScreen = static_cast<float>(parts->linesOnScreen);
    const float total = std::max({lines, linesOnScreen, 1.0f});
    const float length = std::max(linesOnScreen / total * size.y, console::kScrollBarMinLength);

    float top = position.y;
    if (lines > linesOnScreen) {
        const float offset = static_cast<float>(parts->scrollOffset);
        // The screen may have grown since the view was scrolled.
        const float scrolled = std::min(offset / (lines - linesOnScreen), 1.0f);
        top = position.y + size.y - scrolled * (size.y - length) - length;
    }
    const float x = position.x + size.x - console::kScrollBarWidth;
    engine.setColor(kTrackColor);
    engine.drawRectangle({x, position.y}, {console::kScrollBarWidth, size.y});
    engine.setColor(kHandleColor);
    engine.drawRectangle({x, top}, {console::kScrollBarWidth, length});
}

void ScrollingTextWindow::syntaxColorLine(FormattedLine& out, const zu::String& line)
{
    console::ColoredLine colored;
    console::colorLine(colored, line.view(), parts->aliases, parts->knownWords);
    out.runs.clear();
    for (const console::ColoredLine::Run& run : colored)
        out.runs.push_back({run.color, zu::InplaceString<256>(colored.getText(run), run.length)});
}

} // namespace dm
