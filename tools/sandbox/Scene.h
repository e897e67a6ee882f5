/// What plays behind the console: fireflies over hills at night. Knows nothing of drawing.
///
/// Places and lengths are parts of the screen's width and height; the same settings and steps of
/// time give the same scene.
#pragma once

#include "tools/sandbox/Variables.h"

#include <string>
#include <vector>

namespace sandbox {

struct Rgb
{
    int red = 0;
    int green = 0;
    int blue = 0;
    bool operator==(const Rgb&) const = default;
};

/// "#ffcc66", or one of a few names. False, color untouched, for anything else.
bool parseColor(const std::string& text, Rgb& color);

/// A round light.
struct Light
{
    float x = 0;
    float y = 0;
    float radius = 0;     ///< of the width
    float brightness = 0; ///< 0 to 1
    Rgb color;
};

class Scene
{
public:
    static constexpr int kHills = 4;
    static constexpr size_t kMaxSparks = 4000;

    /// Adds its settings.
    explicit Scene(Variables& variables);

    void advance(float seconds);

    /// Sparks fly from somewhere in the sky.
    void burst(int count);

    std::vector<Light> lights() const;
    std::vector<Light> stars() const;

    /// The height of the ground at x, measured from the top. The hills come from back to front.
    float hill(int index, float x) const;

    size_t lightCount() const { return static_cast<size_t>(count) + sparks.size(); }

private:
    struct Spark
    {
        float x, y, speedX, speedY, age, life;
    };

    const float& speed;
    const int& count;
    const std::string& color;
    const float& glow;
    const float& wind;
    const bool& waves;
    const bool& paused;
    const int& starCount;

    double time = 0;
    double drift = 0; // of everything that the wind carries
    unsigned bursts = 0;
    std::vector<Spark> sparks;
};

} // namespace sandbox
