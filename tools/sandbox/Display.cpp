#include "tools/sandbox/Display.h"

#include "tools/sandbox/Picture.h"

#include <SDL_ttf.h>
#include <vector>

namespace sandbox {

namespace {

constexpr Uint32 kPixelFormat = SDL_PIXELFORMAT_RGBA32;
constexpr Uint32 kFrameMs = 16;

} // namespace

Display::Session::Session(Kind kind)
{
    SDL_SetMainReady();
    if (kind != Window)
        SDL_SetHint(SDL_HINT_VIDEODRIVER, "dummy");
    if (SDL_Init(SDL_INIT_VIDEO) != 0)
        throw SdlError(std::string("cannot open a display: ") + SDL_GetError() +
                       " (without one there is --headless)");
    if (TTF_Init() != 0) {
        const std::string reason = TTF_GetError();
        SDL_Quit();
        throw SdlError("cannot begin with fonts: " + reason);
    }
}

Display::Session::~Session()
{
    TTF_Quit();
    SDL_Quit();
}

Display::Display(Kind wanted, int width, int height)
    : kind(wanted)
    , session(wanted)
{
    if (isHeadless()) {
        surface =
            owned(SDL_CreateRGBSurfaceWithFormat(0, width, height, 32, kPixelFormat), "a picture");
        target = owned(SDL_CreateSoftwareRenderer(surface.get()), "a renderer");
        return;
    }
    window = owned(SDL_CreateWindow("dm sandbox", SDL_WINDOWPOS_CENTERED, SDL_WINDOWPOS_CENTERED,
                                    width, height, SDL_WINDOW_RESIZABLE),
                   "a window");
    target.reset(SDL_CreateRenderer(window.get(), -1, SDL_RENDERER_PRESENTVSYNC));
    if (!target)
        target = owned(SDL_CreateRenderer(window.get(), -1, 0), "a renderer");
    SDL_RendererInfo info;
    waitsForScreen = SDL_GetRendererInfo(target.get(), &info) == 0 &&
                     (info.flags & SDL_RENDERER_PRESENTVSYNC) != 0;
    SDL_StartTextInput();
}

Display::~Display() = default;

SDL_Point Display::size() const
{
    SDL_Point pixels{1, 1};
    SDL_GetRendererOutputSize(target.get(), &pixels.x, &pixels.y);
    return pixels;
}

void Display::present()
{
    SDL_RenderPresent(target.get());
    if (!waitsForScreen && kind != Headless)
        SDL_Delay(kFrameMs);
}

void Display::toggleFullScreen()
{
    if (!window)
        return;
    const bool isFull = (SDL_GetWindowFlags(window.get()) & SDL_WINDOW_FULLSCREEN_DESKTOP) ==
                        SDL_WINDOW_FULLSCREEN_DESKTOP;
    SDL_SetWindowFullscreen(window.get(), isFull ? 0 : SDL_WINDOW_FULLSCREEN_DESKTOP);
}

void Display::savePicture(const std::string& path) const
{
    const SDL_Point pixels = size();
    std::vector<Uint32> picture(static_cast<size_t>(pixels.x) * static_cast<size_t>(pixels.y));
    if (SDL_RenderReadPixels(target.get(), nullptr, kPixelFormat, picture.data(),
                             pixels.x * static_cast<int>(sizeof(Uint32))) != 0)
        throw SdlError(std::string("cannot read the picture back: ") + SDL_GetError());
    writePicture(path, picture.data(), pixels.x, pixels.y);
}

} // namespace sandbox
