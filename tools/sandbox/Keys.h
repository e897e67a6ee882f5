/// From the window system's keys to the console's.
///
/// What a key types comes as text events, after the keyboard layout, dead keys and input methods
/// have had their say; what a key does comes as key events. So a key that types is delivered by its
/// text only, and one that acts by its key only.
#pragma once

#include <SDL.h>
#include <string>
#include <vector>

namespace sandbox {

// Windows virtual-key codes, which the console is told.
inline constexpr int kKeyBackspace = 8;
inline constexpr int kKeyTab = 9;
inline constexpr int kKeyEnter = 13;
inline constexpr int kKeyEscape = 27;
inline constexpr int kKeyHome = 36;
inline constexpr int kKeyConsole = 220;
/// "A character from somewhere": text events do not tell their key.
inline constexpr int kKeyText = 231;

/// What Console::deliverKeystroke takes.
struct Keystroke
{
    int key = 0;
    char character = 0;
    bool alt = false;
    bool control = false;
    bool shift = false;

    bool operator==(const Keystroke&) const = default;
};

/// The virtual-key code of a key that acts; 0 for one that types, and for Shift and its like.
int virtualKey(const SDL_Keysym& key);

/// What an input event asks for.
struct KeyAction
{
    enum Kind
    {
        Press,      ///< a keystroke for the console
        Paste,      ///< the clipboard into the command line
        Copy,       ///< the command line into the clipboard
        FullScreen, ///< in or out of it
        Toggle,     ///< the console key: a keystroke; whoever composes a character starts anew
    };
    Kind kind = Press;
    Keystroke keystroke;
    bool isRepeat = false;
};

/// Reads key and text events, in their order.
///
/// The console key is found by its place on the keyboard, whatever is printed there: left of 1.
/// What it types itself is dropped, also when it is a dead key of a layout. Shift+Escape does the
/// same everywhere.
class KeyReader
{
public:
    explicit KeyReader(SDL_Scancode key = SDL_SCANCODE_GRAVE)
        : consoleKey(key)
    {
    }

    std::vector<KeyAction> read(const SDL_Event& event);

private:
    std::vector<KeyAction> readKey(const SDL_KeyboardEvent& event);
    void readRelease(const SDL_KeyboardEvent& event);
    std::vector<KeyAction> readText(const std::string& utf8) const;

    const SDL_Scancode consoleKey;
    bool dropText = false;   // while the console key is held
    std::string droppedText; // what it types: an input method may come with that late
    bool isRepeated = false; // the key pressed last is held down
};

} // namespace sandbox
