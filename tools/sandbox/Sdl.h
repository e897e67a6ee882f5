#pragma once

#include <SDL.h>
#include <memory>
#include <stdexcept>
#include <string>

namespace sandbox {

/// A display, a font or a picture could not be had; says which and why.
class SdlError : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

struct SdlDeleter
{
    void operator()(SDL_Window* window) const { SDL_DestroyWindow(window); }
    void operator()(SDL_Renderer* renderer) const { SDL_DestroyRenderer(renderer); }
    void operator()(SDL_Surface* surface) const { SDL_FreeSurface(surface); }
    void operator()(SDL_Texture* texture) const { SDL_DestroyTexture(texture); }
};

template <typename T>
using SdlPointer = std::unique_ptr<T, SdlDeleter>;

/// Takes what SDL made; throws SdlError where that is nothing.
template <typename T>
SdlPointer<T> owned(T* made, const char* what)
{
    if (!made)
        throw SdlError(std::string("cannot make ") + what + ": " + SDL_GetError());
    return SdlPointer<T>(made);
}

} // namespace sandbox
