#include "tools/sandbox/Scene.h"

#include <algorithm>
#include <charconv>
#include <cmath>

namespace sandbox {

namespace {

constexpr float kTurn = 6.2831853f;

struct NamedColor
{
    const char* name;
    Rgb color;
};

constexpr NamedColor kColors[] = {
    {"gold", {255, 204, 92}}, {"mint", {120, 255, 190}}, {"rose", {255, 130, 170}},
    {"ice", {140, 210, 255}}, {"ember", {255, 120, 60}}, {"violet", {190, 140, 255}},
};

/// A number from 0 to 1 that belongs to these two.
float chance(unsigned index, unsigned what)
{
    unsigned bits = index * 0x9E3779B9u + what * 0x85EBCA6Bu + 0x27D4EB2Fu;
    bits ^= bits >> 15;
    bits *= 0x2C1B3C6Du;
    bits ^= bits >> 12;
    bits *= 0x297A2D39u;
    bits ^= bits >> 15;
    return static_cast<float>(bits >> 8) / 16777216.0f;
}

float wave(double time, float frequency, float phase)
{
    return static_cast<float>(
        std::sin(time * static_cast<double>(frequency) + static_cast<double>(phase * kTurn)));
}

float wrapped(double position) { return static_cast<float>(position - std::floor(position)); }

bool isColor(const std::string& text)
{
    Rgb ignored;
    return parseColor(text, ignored);
}

} // namespace

bool parseColor(const std::string& text, Rgb& color)
{
    for (const NamedColor& named : kColors) {
        if (toLower(text) == named.name) {
            color = named.color;
            return true;
        }
    }
    unsigned bits = 0;
    const char* const end = text.data() + text.size();
    if (text.size() != 7 || text[0] != '#')
        return false;
    const auto [stop, error] = std::from_chars(text.data() + 1, end, bits, 16);
    if (error != std::errc() || stop != end)
        return false;
    color = {static_cast<int>(bits >> 16), static_cast<int>(bits >> 8 & 255u),
             static_cast<int>(bits & 255u)};
    return true;
}

Scene::Scene(Variables& variables)
    : speed(variables.addFloat("speed", 1, 0, 10, "How fast time passes."))
    , count(variables.addInt("count", 70, 0, 2000, "How many fireflies there are."))
    , color(variables.addText("color", "gold", 7, "What color they have.",
                              {isColor, "gold, mint, rose, ice, ember, violet or #rrggbb"}))
    , glow(variables.addFloat("glow", 1, 0, 4, "How large their light is."))
    , wind(variables.addFloat("wind", 0.3f, -3, 3, "Where it blows: to the left below 0."))
    , waves(variables.addBool("waves", true, "Whether the hills move."))
    , paused(variables.addBool("paused", false, "Whether time stands still."))
    , starCount(variables.addInt("stars", 160, 0, 1000, "How many stars there are."))
{
}

void Scene::advance(float seconds)
{
    if (paused)
        return;
    const float step = seconds * speed;
    time += static_cast<double>(step);
    drift += static_cast<double>(step * wind);
    for (Spark& spark : sparks) {
        spark.age += step;
        spark.x += (spark.speedX + wind * 0.02f) * step;
        spark.y += spark.speedY * step;
        spark.speedY += 0.12f * step;
    }
    std::erase_if(sparks, [](const Spark& spark) { return spark.age >= spark.life; });
}

void Scene::burst(int wanted)
{
    ++bursts;
    const float x = 0.2f + 0.6f * chance(bursts, 1);
    const float y = 0.15f + 0.3f * chance(bursts, 2);
    for (int index = 0; index < wanted && sparks.size() < kMaxSparks; ++index) {
        const auto seed = bursts * 7919u + static_cast<unsigned>(index);
        const float direction = kTurn * chance(seed, 3);
        const float force = 0.02f + 0.18f * chance(seed, 4);
        sparks.push_back({x, y, std::cos(direction) * force, std::sin(direction) * force * 1.4f, 0,
                          1.2f + 1.2f * chance(seed, 5)});
    }
}

std::vector<Light> Scene::lights() const
{
    Rgb tint;
    parseColor(color, tint);
    std::vector<Light> result;
    result.reserve(lightCount());
    for (unsigned index = 0; index < static_cast<unsigned>(count); ++index) {
        const float depth = chance(index, 0);
        const float sway = 0.02f * wave(time, 0.3f + 0.5f * chance(index, 1), chance(index, 2));
        const float lift = 0.05f * wave(time, 0.2f + 0.6f * chance(index, 3), chance(index, 4));
        const float pulse = wave(time, 0.6f + 1.4f * chance(index, 5), chance(index, 6));
        Light light;
        light.x = wrapped(static_cast<double>(chance(index, 7) + sway) +
                          drift * static_cast<double>(0.01f + 0.03f * depth));
        light.y = 0.42f + 0.5f * chance(index, 8) + lift;
        light.radius = (0.006f + 0.016f * depth * depth) * glow;
        light.brightness = 0.25f + 0.75f * std::max(0.0f, pulse) * std::max(0.0f, pulse);
        light.color = tint;
        result.push_back(light);
    }
    for (const Spark& spark : sparks) {
        const float left = 1 - spark.age / spark.life;
        result.push_back({spark.x, spark.y, 0.008f * glow * (0.4f + left), left, tint});
    }
    return result;
}

std::vector<Light> Scene::stars() const
{
    std::vector<Light> result;
    for (unsigned index = 0; index < static_cast<unsigned>(starCount); ++index) {
        const float twinkle = wave(time, 0.5f + 2 * chance(index, 11), chance(index, 12));
        const float height = chance(index, 14);
        result.push_back({chance(index, 13),
                          0.62f * height,
                          0.0008f + 0.0012f * chance(index, 15) * chance(index, 15),
                          (0.45f + 0.25f * twinkle) * (1 - 0.7f * height),
                          {230, 235, 255}});
    }
    return result;
}

float Scene::hill(int index, float x) const
{
    const auto layer = static_cast<float>(index);
    const double moved = waves ? time * static_cast<double>(0.05f + 0.04f * layer) : 0;
    const float rough = 5.0f + 2.3f * layer;
    return 0.6f + 0.1f * layer +
           (0.055f - 0.004f * layer) *
               wave(moved + static_cast<double>(x * rough), 1, layer * 0.37f) +
           0.02f * wave(moved * 1.7 + static_cast<double>(x * rough * 2.6f), 1, layer * 0.61f);
}

} // namespace sandbox
