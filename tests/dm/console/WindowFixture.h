/// A window over a drawing interface that writes down what it is asked for, and files in memory.
#pragma once

#include "support/MemoryFiles.h"

#include <dm/console.h>

#include <cstdio>
#include <cstring>
#include <functional>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <vector>

namespace dm {

/// What tests look at that programs do not.
struct ScrollingTextWindowTestAccess
{
    static u64 lineCount(const ScrollingTextWindow& w) { return w.getConsoleLineCount(); }
    static std::string line(const ScrollingTextWindow& w, u64 index)
    {
        return std::string(w.getConsoleLine(index).view());
    }
    static std::string visibleLine(const ScrollingTextWindow& w, u64 index)
    {
        return std::string(w.getVisibleLine(index).view());
    }
    static u32 linesOnScreen(ScrollingTextWindow& w) { return w.getLinesOnScreen(); }
    static u32 upmost(ScrollingTextWindow& w) { return w.getUpmostShownConsoleLine(); }
    static ScrollingTextWindow::FormattedLine color(ScrollingTextWindow& w, const char* line)
    {
        ScrollingTextWindow::FormattedLine out;
        w.syntaxColorLine(out, line);
        return out;
    }
};

} // namespace dm

namespace support {

using Access = dm::ScrollingTextWindowTestAccess;
using Vector2 = m::Vector2Template<float>;

/// Characters are 1/64 wide. Costs no memory while `isRecording` is false.
class RecordingEngine : public dm::ShapeEngineInterface
{
public:
    void begin() override { write("begin"); }
    void setTextSize(float size) override { write("size %g", size); }
    float getLineHeight() override
    {
        if (onMeasure)
            onMeasure();
        return lineHeight;
    }
    Vector2 getTextExtent(const char* text) override
    {
        return {static_cast<float>(std::strlen(text)) / 64, lineHeight};
    }
    void setColor(const g::Color& color) override
    {
        write("color %d %d %d %d", color.r, color.g, color.b, color.a);
    }
    void drawRectangle(const Vector2& at, const Vector2& size) override
    {
        write("rectangle %g %g %g %g", at.x, at.y, size.x, size.y);
    }
    void drawText(const Vector2& at, const char* text) override
    {
        write("text %g %g %s", at.x, at.y, text);
        if (onDraw)
            onDraw();
    }

    float lineHeight = 1.0f / 32;
    bool isRecording = true;
    std::vector<std::string> calls;
    std::function<void()> onMeasure;
    std::function<void()> onDraw;

private:
    void write(const char* format, ...) ZUL_PRINTF_LIKE(2, 3)
    {
        if (!isRecording)
            return;
        va_list arguments;
        va_start(arguments, format);
        calls.emplace_back(zu::strV(format, arguments).view());
        va_end(arguments);
    }
};

/// Margin 1/16: 27 lines of 86 or 87 characters, and exact numbers.
class WindowFixture : public testing::Test
{
protected:
    WindowFixture() { restart(); }

    void restart()
    {
        window.reset();
        window = std::make_unique<dm::ScrollingTextWindow>(&engine, 1.0f / 16);
        window->setVisibility(true);
    }

    void print(int lines)
    {
        for (int i = 0; i < lines; ++i)
            window->print("%d\n", printed++);
    }

    /// The calls of a frame.
    std::vector<std::string> frame()
    {
        engine.calls.clear();
        window->renderVisibleText();
        return engine.calls;
    }

    MemoryFiles files;
    RecordingEngine engine;
    std::unique_ptr<dm::ScrollingTextWindow> window;
    int printed = 0;
};

} // namespace support
