/// Keystrokes from a file, for pictures and for tests.
///
///     # A line a step, a step a frame.
///     key Console            F1, Home, Ctrl+Home, Shift+Tab, ...; press is the same
///     type set speed         the rest of the line
///     enter set speed 2      types, and presses Enter
///     paste some text        from the clipboard
///     wait 30                frames
///     await round trips      until a line with that in it has been printed, since the last step
///                            that was none of these
///     screenshot here.png
///
/// Keys have SDL's names, and Enter, Esc and Console, which is the console key, whatever the
/// layout has there.
#pragma once

#include <SDL.h>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace sandbox {

/// Says which line, and what is wrong with it.
class ScriptError : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

struct ScriptStep
{
    enum Kind
    {
        Key,
        Type,
        Enter,
        Paste,
        Wait,
        Await,
        Screenshot
    };
    Kind kind = Wait;
    SDL_Keysym key{};
    std::string text; ///< what is typed, pasted or awaited, in UTF-8; the picture's path
    int frames = 0;
};

/// Throws ScriptError.
std::vector<ScriptStep> parseScript(std::string_view text,
                                    SDL_Scancode consoleKey = SDL_SCANCODE_GRAVE);

/// The events of typing a text, and of pressing a key, as the window system would send them.
std::vector<SDL_Event> typingEvents(const std::string& utf8);
std::vector<SDL_Event> keyEvents(const SDL_Keysym& key);
SDL_Keysym enterKey();

} // namespace sandbox
