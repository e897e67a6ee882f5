#pragma once

#include "tools/sandbox/Scene.h"
#include "tools/sandbox/Sdl.h"

#include <vector>

namespace sandbox {

/// Draws the scene over the whole screen.
class SceneView
{
public:
    explicit SceneView(SDL_Renderer* target);

    void draw(const Scene& scene, SDL_Point size);

private:
    void drawSky(SDL_Point size);
    void drawMoon(SDL_Point size);
    void drawHills(const Scene& scene, SDL_Point size);
    void drawLights(const std::vector<Light>& lights, SDL_Point size, SDL_Texture* shape);

    SDL_Renderer* renderer;
    SdlPointer<SDL_Texture> glow; // soft to the edge
    SdlPointer<SDL_Texture> disc;
    std::vector<SDL_Rect> columns;
};

} // namespace sandbox
