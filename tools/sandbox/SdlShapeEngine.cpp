#include "tools/sandbox/SdlShapeEngine.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <utility>

namespace sandbox {

namespace {

int toPixel(float position) { return static_cast<int>(std::lround(position)); }

} // namespace

SdlShapeEngine::SdlShapeEngine(SDL_Renderer* target, std::string file)
    : renderer(target)
    , fontFile(std::move(file))
{
    int pixelsWide = 0;
    int pixelsHigh = 0;
    SDL_GetRendererOutputSize(renderer, &pixelsWide, &pixelsHigh);
    resize(pixelsWide, pixelsHigh);
}

SdlShapeEngine::~SdlShapeEngine() = default;

void SdlShapeEngine::resize(int pixelsWide, int pixelsHigh)
{
    width = static_cast<float>(std::max(pixelsWide, 1));
    height = static_cast<float>(std::max(pixelsHigh, 1));
    font = nullptr;
    setTextSize(0.02f);
}

void SdlShapeEngine::setTextSize(float size)
{
    if (font && size == textSize)
        return;
    textSize = size;
    font = std::make_unique<Font>(renderer, fontFile, width * size / 2);
}

float SdlShapeEngine::getLineHeight() { return static_cast<float>(font->lineHeight()) / height; }

m::Vector2Template<float> SdlShapeEngine::getTextExtent(const char* text)
{
    return {static_cast<float>(std::strlen(text)) * textSize / 2, getLineHeight()};
}

void SdlShapeEngine::setColor(const g::Color& newColor)
{
    color = newColor;
    font->setColor({color.r, color.g, color.b, color.a});
}

void SdlShapeEngine::drawRectangle(const m::Vector2Template<float>& position,
                                   const m::Vector2Template<float>& size)
{
    const int left = toPixel(position.x * width);
    const int top = toPixel(position.y * height);
    const SDL_Rect rectangle{left, top, toPixel((position.x + size.x) * width) - left,
                             toPixel((position.y + size.y) * height) - top};
    SDL_SetRenderDrawBlendMode(renderer, SDL_BLENDMODE_BLEND);
    SDL_SetRenderDrawColor(renderer, color.r, color.g, color.b, color.a);
    SDL_RenderFillRect(renderer, &rectangle);
}

void SdlShapeEngine::drawText(const m::Vector2Template<float>& position, const char* text)
{
    const int top = toPixel(position.y * height);
    for (size_t index = 0; text[index] != '\0'; ++index) {
        const float left = position.x + static_cast<float>(index) * textSize / 2;
        font->draw(static_cast<unsigned char>(text[index]), toPixel(left * width), top);
    }
}

} // namespace sandbox
