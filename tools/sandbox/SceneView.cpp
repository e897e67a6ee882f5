#include "tools/sandbox/SceneView.h"

#include <algorithm>
#include <cmath>

namespace sandbox {

namespace {

constexpr int kShapeSize = 128;
constexpr int kColumnWidth = 2;

constexpr Rgb kSkyTop{9, 12, 34};
constexpr Rgb kSkyMiddle{30, 36, 78};
constexpr Rgb kSkyBottom{96, 74, 110};
constexpr Rgb kHillColors[Scene::kHills] = {{44, 44, 84}, {30, 33, 66}, {19, 23, 48}, {9, 12, 28}};

Uint8 toByte(float value) { return static_cast<Uint8>(std::clamp(std::lround(value), 0L, 255L)); }

float mix(int from, int to, float part)
{
    return static_cast<float>(from) + static_cast<float>(to - from) * part;
}

/// A white circle whose opacity is that of `edge` at a distance of 0 to 1 from its middle.
template <typename Edge>
SdlPointer<SDL_Texture> makeShape(SDL_Renderer* renderer, Edge edge)
{
    const auto surface =
        owned(SDL_CreateRGBSurfaceWithFormat(0, kShapeSize, kShapeSize, 32, SDL_PIXELFORMAT_RGBA32),
              "a surface");
    for (int y = 0; y < kShapeSize; ++y) {
        auto* const row = static_cast<Uint8*>(surface->pixels) + y * surface->pitch;
        for (int x = 0; x < kShapeSize; ++x) {
            constexpr float kMiddle = (kShapeSize - 1) / 2.0f;
            const float distance =
                std::hypot(static_cast<float>(x) - kMiddle, static_cast<float>(y) - kMiddle) /
                kMiddle;
            std::fill_n(row + x * 4, 3, Uint8{255});
            row[x * 4 + 3] = toByte(255 * edge(distance));
        }
    }
    SDL_SetHint(SDL_HINT_RENDER_SCALE_QUALITY, "linear");
    auto texture = owned(SDL_CreateTextureFromSurface(renderer, surface.get()), "a texture");
    SDL_SetTextureBlendMode(texture.get(), SDL_BLENDMODE_ADD);
    return texture;
}

} // namespace

SceneView::SceneView(SDL_Renderer* target)
    : renderer(target)
{
    glow = makeShape(renderer, [](float distance) {
        const float left = std::max(0.0f, 1 - distance);
        const float core = std::max(0.0f, 1 - distance * 5);
        return std::min(1.0f, 0.55f * left * left * left + core);
    });
    disc = makeShape(renderer, [](float distance) {
        return std::clamp((1 - distance) * kShapeSize / 4, 0.0f, 1.0f);
    });
}

void SceneView::draw(const Scene& scene, SDL_Point size)
{
    drawSky(size);
    drawLights(scene.stars(), size, disc.get());
    drawMoon(size);
    drawHills(scene, size);
    drawLights(scene.lights(), size, glow.get());
}

void SceneView::drawSky(SDL_Point size)
{
    SDL_SetRenderDrawBlendMode(renderer, SDL_BLENDMODE_NONE);
    for (int y = 0; y < size.y; ++y) {
        const float part = static_cast<float>(y) / static_cast<float>(size.y) / 0.7f;
        const bool isUpper = part < 0.5f;
        const Rgb& from = isUpper ? kSkyTop : kSkyMiddle;
        const Rgb& to = isUpper ? kSkyMiddle : kSkyBottom;
        const float local = std::min(1.0f, isUpper ? part * 2 : part * 2 - 1);
        SDL_SetRenderDrawColor(renderer, toByte(mix(from.red, to.red, local)),
                               toByte(mix(from.green, to.green, local)),
                               toByte(mix(from.blue, to.blue, local)), 255);
        SDL_RenderDrawLine(renderer, 0, y, size.x - 1, y);
    }
}

void SceneView::drawMoon(SDL_Point size)
{
    const Rgb color{236, 228, 208};
    drawLights({{0.8f, 0.2f, 0.17f, 0.25f, color}}, size, glow.get());
    SDL_SetTextureBlendMode(disc.get(), SDL_BLENDMODE_BLEND);
    drawLights({{0.8f, 0.2f, 0.025f, 0.6f, color}}, size, disc.get());
    SDL_SetTextureBlendMode(disc.get(), SDL_BLENDMODE_ADD);
}

void SceneView::drawHills(const Scene& scene, SDL_Point size)
{
    const auto width = static_cast<float>(size.x);
    const auto height = static_cast<float>(size.y);
    SDL_SetRenderDrawBlendMode(renderer, SDL_BLENDMODE_NONE);
    for (int index = 0; index < Scene::kHills; ++index) {
        columns.clear();
        for (int x = 0; x < size.x; x += kColumnWidth) {
            const int top = static_cast<int>(
                std::lround(scene.hill(index, static_cast<float>(x) / width) * height));
            columns.push_back({x, top, kColumnWidth, std::max(0, size.y - top)});
        }
        const Rgb& color = kHillColors[index];
        SDL_SetRenderDrawColor(renderer, static_cast<Uint8>(color.red),
                               static_cast<Uint8>(color.green), static_cast<Uint8>(color.blue),
                               255);
        SDL_RenderFillRects(renderer, columns.data(), static_cast<int>(columns.size()));
    }
}

void SceneView::drawLights(const std::vector<Light>& lights, SDL_Point size, SDL_Texture* shape)
{
    const auto width = static_cast<float>(size.x);
    const auto height = static_cast<float>(size.y);
    for (const Light& light : lights) {
        const float radius = std::max(1.0f, light.radius * width);
        const SDL_FRect place{light.x * width - radius, light.y * height - radius, 2 * radius,
                              2 * radius};
        SDL_SetTextureColorMod(shape, static_cast<Uint8>(light.color.red),
                               static_cast<Uint8>(light.color.green),
                               static_cast<Uint8>(light.color.blue));
        SDL_SetTextureAlphaMod(shape, toByte(255 * light.brightness));
        SDL_RenderCopyF(renderer, shape, nullptr, &place);
    }
}

} // namespace sandbox
