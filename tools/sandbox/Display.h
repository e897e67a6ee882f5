#pragma once

#include "tools/sandbox/Sdl.h"

#include <string>

namespace sandbox {

/// Where the game is seen: a window, or a picture in memory where there is no display.
///
/// Throws SdlError. Only one at a time.
class Display
{
public:
    enum Kind
    {
        Window,
        Headless,         ///< as fast as it can
        HeadlessAtLeisure ///< at about the rate of a window
    };

    Display(Kind kind, int width, int height);
    ~Display();
    Display(const Display&) = delete;
    Display& operator=(const Display&) = delete;

    SDL_Renderer* renderer() const { return target.get(); }
    bool isHeadless() const { return kind != Window; }
    /// In pixels.
    SDL_Point size() const;

    /// Shows what was drawn. Waits for the screen, or about as long where that cannot be waited
    /// for; Headless does not.
    void present();

    void toggleFullScreen();

    /// What was drawn since the last present, as a PNG file.
    void savePicture(const std::string& path) const;

private:
    /// Begins and ends SDL around all that is made of it.
    struct Session
    {
        explicit Session(Kind kind);
        ~Session();
    };

    const Kind kind;
    const Session session;
    SdlPointer<SDL_Window> window;
    SdlPointer<SDL_Surface> surface;
    SdlPointer<SDL_Renderer> target;
    bool waitsForScreen = false;
};

} // namespace sandbox
