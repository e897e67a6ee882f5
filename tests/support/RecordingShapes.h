/// A drawing interface that draws nothing and writes down what it is asked for.
#pragma once

#include <dm/console.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace support {

/// Costs no memory while `isRecording` is false.
class RecordingShapes : public dm::ShapeEngineInterface
{
public:
    using Vector2 = m::Vector2Template<float>;

    void begin() override { calls.assign(isRecording, "begin"); }
    void setTextSize(float size) override { write("size %g", size); }
    float getLineHeight() override
    {
        if (onCall)
            onCall();
        return lineHeight;
    }
    Vector2 getTextExtent(const char* text) override
    {
        return {static_cast<float>(std::strlen(text)) * characterWidth, lineHeight};
    }
    void setColor(const g::Color& c) override { write("color %d %d %d %d", c.r, c.g, c.b, c.a); }
    void drawRectangle(const Vector2& at, const Vector2& size) override
    {
        write("rectangle %g %g %g %g", at.x, at.y, size.x, size.y);
    }
    void drawText(const Vector2& at, const char* text) override
    {
        write("text %g %g %s", at.x, at.y, text);
        if (onCall)
            onCall();
    }

    /// What the frame shows, without line feeds: the command line, and above it the pane's lines.
    std::vector<std::string> rows() const
    {
        std::vector<std::string> texts;
        float lastY = -1;
        for (const std::string& call : calls) {
            float y = 0;
            int textAt = 0;
            if (std::sscanf(call.c_str(), "text %*g %g%n", &y, &textAt) != 1)
                continue;
            if (std::exchange(lastY, y) != y)
                texts.emplace_back();
            texts.back() += call.substr(static_cast<size_t>(textAt) + 1);
            texts.back().resize(std::min(texts.back().find('\n'), texts.back().size()));
        }
        return texts;
    }

    float lineHeight = 1.0f / 32;
    float characterWidth = 1.0f / 64;
    bool isRecording = true;
    std::vector<std::string> calls; ///< of the last frame
    std::function<void()> onCall;

private:
    template <typename... Arguments>
    void write(const char* format, Arguments... arguments)
    {
        if (isRecording)
            calls.emplace_back(zu::str(format, arguments...).view());
    }
};

} // namespace support
