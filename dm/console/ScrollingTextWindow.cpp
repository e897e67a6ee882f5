#include "dm/console/LineWrap.h"
#include "dm/console/WindowParts.h"

#include <zul/File.h>

#include <algorithm>
#include <cmath>
#include <cstdarg>

namespace dm {

using console::WindowLock;

u32 console::countLines(float height, float lineHeight)
{
    constexpr float kMostLines = 10000;
    if (!(lineHeight > 0))
        return 0;
    const float lines = std::floor(height / lineHeight);
    if (!std::isfinite(lines) || lines < 1)
        return 0;
    return static_cast<u32>(std::min(lines, kMostLines));
}

ScrollingTextWindowException::~ScrollingTextWindowException() = default;
ScrollingTextWindowException_IllegalAliasDefinition::
    ~ScrollingTextWindowException_IllegalAliasDefinition() = default;

ScrollingTextWindow::ScrollingTextWindow(ShapeEngineInterface* shapeEngine, float margin)
    : parts(std::make_unique<Parts>(shapeEngine))
{
    shapeEngine->setTextSize(console::kTextSize);
    const float lineHeight = shapeEngine->getLineHeight();
    parts->windowPosition = {margin, margin};
    setWindowSize({1 - 2 * margin, 1 - (lineHeight + 2 * margin)});
    parts->commandLinePosition = {margin, 1 - (lineHeight + margin)};
    parts->commandLineWidth = 1 - 2 * margin;
    load();
}

ScrollingTextWindow::~ScrollingTextWindow() = default;

void ScrollingTextWindow::print(const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    const console::PrintText text(format, arguments);
    va_end(arguments);
    printString(text.characters);
}

void ScrollingTextWindow::printString(const char* text) { printStringWithPrefix(false, text); }

void ScrollingTextWindow::printWithPrefix(bool withPrefix, const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    const console::PrintText text(format, arguments);
    va_end(arguments);
    printStringWithPrefix(withPrefix, text.characters);
}

// Calls nothing of the drawing interface: this may be any thread, and it may be the drawing
// interface that prints.
void ScrollingTextWindow::printStringWithPrefix(bool withPrefix, const char* text)
{
    if (text == nullptr)
        return;
    const char* const prefix = withPrefix ? console::kPrompt : console::kLinePrefix;
    const WindowLock::PrintGuard guard(parts->lock);
    if (parts->pane.print(prefix, text) != 0 && withPrefix)
        parts->cacheDirty = true;
}

void ScrollingTextWindow::dumpToFile(const char*) {}

void ScrollingTextWindow::setWindowSize(const Vector2& size)
{
    parts->windowSize = size;
    parts->textAreaSize = {size.x - console::kScrollBarWidth, size.y};
    const u32 lines = getLinesOnScreen();
    parts->formattedLines.resize(lines);
    const WindowLock::DrawGuard guard(parts->lock);
    parts->pane.setArea(parts->textAreaSize.x, lines);
}

void ScrollingTextWindow::setWindowPosition(const Vector2& position)
{
    parts->windowPosition = position;
}

void ScrollingTextWindow::setCommandLinePosition(const Vector2& position)
{
    parts->commandLinePosition = position;
}

void ScrollingTextWindow::setCommandLineWidth(float width) { parts->commandLineWidth = width; }

void ScrollingTextWindow::setVisibility(bool visible) { parts->visible = visible; }

const Vector2& ScrollingTextWindow::getWindowSize() const { return parts->windowSize; }

const Vector2& ScrollingTextWindow::getWindowPosition() const { return parts->windowPosition; }

const Vector2& ScrollingTextWindow::getCommandLinePosition() const
{
    return parts->commandLinePosition;
}

const Vector2& ScrollingTextWindow::getTextAreaSize() const { return parts->textAreaSize; }

float ScrollingTextWindow::getCommandLineWidth() const { return parts->commandLineWidth; }

u32 ScrollingTextWindow::getLinesOnScreen()
{
    parts->shapeEngine->setTextSize(console::kTextSize);
    const float lineHeight = parts->shapeEngine->getLineHeight();
    return console::countLines(parts->windowSize.y, lineHeight);
}

float ScrollingTextWindow::getStringWidth(const zu::String& text) const
{
    return console::textWidth(text.length());
}

int ScrollingTextWindow::getCharacterFitCount(const zu::String& text, float width) const
{
    return console::fittingCharacters(text.length(), width);
}

int ScrollingTextWindow::scroll(int lines)
{
    const u32 linesOnScreen = getLinesOnScreen();
    const WindowLock::DrawGuard guard(parts->lock);
    parts->pane.setLinesOnScreen(linesOnScreen);
    return parts->pane.scroll(lines);
}

void ScrollingTextWindow::scrollBottom()
{
    const WindowLock::DrawGuard guard(parts->lock);
    parts->pane.scrollBottom();
}

void ScrollingTextWindow::clear()
{
    const WindowLock::DrawGuard guard(parts->lock);
    parts->pane.clear();
    parts->cacheDirty = true;
}

u64 ScrollingTextWindow::getConsoleLineCount() const
{
    const WindowLock::DrawGuard guard(parts->lock);
    return parts->pane.getStore().size();
}

// The reference holds until somebody prints.
const zu::String& ScrollingTextWindow::getConsoleLine(u64 index) const
{
    static const zu::String s_none;
    const WindowLock::DrawGuard guard(parts->lock);
    const zu::String* const line = parts->pane.getStore().newest(index);
    return line ? *line : s_none;
}

const zu::String& ScrollingTextWindow::getVisibleLine(u64 index) const
{
    static const zu::String s_none;
    const WindowLock::DrawGuard guard(parts->lock);
    const zu::String* const line = parts->pane.visibleLine(index);
    return line ? *line : s_none;
}

u32 ScrollingTextWindow::getUpmostShownConsoleLine()
{
    const u32 linesOnScreen = getLinesOnScreen();
    const WindowLock::DrawGuard guard(parts->lock);
    parts->pane.setLinesOnScreen(linesOnScreen);
    return parts->pane.getUpmostOffset();
}

void ScrollingTextWindow::addConsoleLine(const zu::String& line)
{
    const WindowLock::PrintGuard guard(parts->lock);
    parts->pane.addRow(line.view());
}

void ScrollingTextWindow::save()
{
    {
        const WindowLock::DrawGuard guard(parts->lock);
        if (!parts->cacheDirty)
            return;
        // Before the lines are taken: what is printed from here on is for the next save.
        parts->cacheDirty = false;
        if (zu::File::isFileSystemReadOnly())
            return;
        parts->savedLines.take(parts->pane.getStore());
    }
    parts->savedCommands.take(parts->history.getStore());
    try {
        console::writeConsoleCache(console::consoleCachePath().c_str(), parts->savedLines,
                                   parts->savedCommands);
    } catch (const zu::FileException_FileOpenFailed&) {
        // No cache then; it is tried again when something has changed.
    } catch (...) {
        const WindowLock::DrawGuard guard(parts->lock);
        parts->cacheDirty = true;
        throw;
    }
}

void ScrollingTextWindow::load()
{
    console::TextPane::Store lines(kMaxConsoleLines);
    if (!console::readConsoleCache(console::consoleCachePath().c_str(), lines,
                                   parts->history.accessStore()))
        return;
    const WindowLock::DrawGuard guard(parts->lock);
    parts->pane.restore(std::move(lines));
}

} // namespace dm
