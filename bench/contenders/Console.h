/// The developer console and what stands beside it: the same lines kept by a plain loop over
/// std::string, and drawn with Dear ImGui.
#pragma once

#include <dm/console.h>

#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace bench {

/// What a game prints, 80 characters with its number, which has four digits.
inline constexpr char kConsoleText[] =
    " set r_shadows 0.75 \"low end\", read 128 textures (0x1f), 3 missing; left=17;";
static_assert(4 + sizeof kConsoleText - 1 == 80);

/// Such a line, with its line feed.
std::string consoleLine(unsigned number);

constexpr unsigned kConsoleLinesOnScreen = 50;

/// Draws nothing, and counts what it is asked for.
class CountingEngine : public dm::ShapeEngineInterface
{
public:
    using Vector2 = m::Vector2Template<float>;

    void begin() override { ++frames; }
    void setTextSize(float) override { ++sizes; }
    float getLineHeight() override { return 0.02f; }
    Vector2 getTextExtent(const char*) override
    {
        ++extents;
        return {0.01f, 0.02f};
    }
    void setColor(const g::Color&) override { ++colors; }
    void drawRectangle(const Vector2&, const Vector2&) override { ++rectangles; }
    void drawText(const Vector2&, const char*) override { ++texts; }

    // One a call: a processor takes its time to add to what it has just stored.
    uint64_t frames = 0, sizes = 0, extents = 0, colors = 0, rectangles = 0, texts = 0;
};

/// A console in view, full of lines, with kConsoleLinesOnScreen of them on screen. It finds no
/// cache file; those that it writes go with the process.
class MeasuredConsole
{
public:
    /// width is that of the text: 1 has room for 99 characters.
    explicit MeasuredConsole(float width = 1)
        : MeasuredConsole(std::make_unique<CountingEngine>(), width)
    {
    }
    explicit MeasuredConsole(std::unique_ptr<CountingEngine> drawingEngine, float width = 1);

private:
    const std::unique_ptr<CountingEngine> engine;

public:
    dm::ScrollingTextWindow window;
};

/// What one would write in an hour: cuts text at its line feeds and into words, wraps them, and
/// keeps the last 1,000 rows.
class StringConsole
{
public:
    explicit StringConsole(size_t rowCharacters)
        : width(rowCharacters)
    {
    }

    void print(const std::string& text);
    size_t size() const { return rows.size(); }

private:
    void tokenize(const std::string& line);
    void wrap();
    void store(const std::string& row);

    const size_t width;
    std::string pending;
    std::vector<std::string> words;
    std::deque<std::string> rows;
};

/// The same 1,000 lines in a window of Dear ImGui that shows kConsoleLinesOnScreen, with its list
/// clipper, each word in its colour. There is no renderer behind it.
class ImGuiConsole
{
public:
    ImGuiConsole();
    ~ImGuiConsole();
    ImGuiConsole(const ImGuiConsole&) = delete;
    ImGuiConsole& operator=(const ImGuiConsole&) = delete;

    void drawFrame();

private:
    struct Run
    {
        uint32_t color;
        std::string text;
    };
    std::vector<std::vector<Run>> lines;
};

} // namespace bench
