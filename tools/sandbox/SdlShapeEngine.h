#pragma once

#include "tools/sandbox/Font.h"

#include <dm/console.h>

#include <memory>
#include <string>

namespace sandbox {

/// Draws the console's shapes with SDL, text on a grid of whole pixels.
///
/// A text of size s has characters s / 2 of the screen's width wide, so 0.01 at the console's 0.02;
/// how high they are is the font's to say, whatever the screen's proportions. Where a character
/// stands is rounded for itself, so that texts drawn one behind the other stay on the grid.
///
/// Threads: the one that draws.
class SdlShapeEngine : public dm::ShapeEngineInterface
{
public:
    /// Throws SdlError, as the font does.
    SdlShapeEngine(SDL_Renderer* target, std::string font);
    ~SdlShapeEngine() override;

    /// The screen has another size, in pixels.
    void resize(int width, int height);

    void begin() override {}
    void setTextSize(float size) override;
    float getLineHeight() override;
    m::Vector2Template<float> getTextExtent(const char* text) override;
    void setColor(const g::Color& newColor) override;
    void drawRectangle(const m::Vector2Template<float>& position,
                       const m::Vector2Template<float>& size) override;
    void drawText(const m::Vector2Template<float>& position, const char* text) override;

private:
    SDL_Renderer* renderer;
    const std::string fontFile;
    float width = 1; // of the screen, in pixels
    float height = 1;
    float textSize = 0;
    g::Color color;
    std::unique_ptr<Font> font; // for the size and screen of last time
};

} // namespace sandbox
