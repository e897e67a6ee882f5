#include "tools/sandbox/Keys.h"

#include "tools/sandbox/Latin1.h"

#include <algorithm>
#include <iterator>

namespace sandbox {

namespace {

struct KeyRow
{
    SDL_Keycode key;
    int code;
};

constexpr KeyRow kActingKeys[] = {
    {SDLK_BACKSPACE, kKeyBackspace},
    {SDLK_TAB, kKeyTab},
    {SDLK_RETURN, kKeyEnter},
    {SDLK_KP_ENTER, kKeyEnter},
    {SDLK_PAUSE, 19},
    {SDLK_ESCAPE, kKeyEscape},
    {SDLK_PAGEUP, 33},
    {SDLK_PAGEDOWN, 34},
    {SDLK_END, 35},
    {SDLK_HOME, kKeyHome},
    {SDLK_LEFT, 37},
    {SDLK_UP, 38},
    {SDLK_RIGHT, 39},
    {SDLK_DOWN, 40},
    {SDLK_PRINTSCREEN, 44},
    {SDLK_INSERT, 45},
    {SDLK_DELETE, 46},
    {SDLK_APPLICATION, 93},
};

/// Without number lock.
constexpr KeyRow kKeypad[] = {
    {SDLK_KP_0, 45}, {SDLK_KP_1, 35}, {SDLK_KP_2, 40}, {SDLK_KP_3, 34}, {SDLK_KP_4, 37},
    {SDLK_KP_6, 39}, {SDLK_KP_7, 36}, {SDLK_KP_8, 38}, {SDLK_KP_9, 33}, {SDLK_KP_PERIOD, 46},
};

template <size_t N>
int lookUp(const KeyRow (&rows)[N], SDL_Keycode key)
{
    const auto* const row = std::find_if(std::begin(rows), std::end(rows),
                                         [key](const KeyRow& one) { return one.key == key; });
    return row == std::end(rows) ? 0 : row->code;
}

/// Shortcuts with a letter: by its place where the layout has another alphabet.
bool isLetter(const SDL_Keysym& key, SDL_Keycode letter, SDL_Scancode place)
{
    const bool isLatin = key.sym < 0x80;
    return key.sym == letter || (!isLatin && key.scancode == place);
}

bool has(Uint16 modifiers, int wanted) { return (modifiers & wanted) != 0; }

} // namespace

int virtualKey(const SDL_Keysym& key)
{
    if (key.sym >= SDLK_F1 && key.sym <= SDLK_F12)
        return 112 + (key.sym - SDLK_F1);
    if (key.sym >= SDLK_F13 && key.sym <= SDLK_F24)
        return 124 + (key.sym - SDLK_F13);
    if (const int code = has(key.mod, KMOD_NUM) ? 0 : lookUp(kKeypad, key.sym))
        return code;
    return lookUp(kActingKeys, key.sym);
}

std::vector<KeyAction> KeyReader::read(const SDL_Event& event)
{
    if (event.type == SDL_KEYDOWN)
        return readKey(event.key);
    if (event.type == SDL_KEYUP)
        readRelease(event.key);
    else if (event.type == SDL_TEXTINPUT && !dropText && event.text.text != droppedText)
        return readText(event.text.text);
    return {};
}

std::vector<KeyAction> KeyReader::readKey(const SDL_KeyboardEvent& event)
{
    const SDL_Keysym& key = event.keysym;
    isRepeated = event.repeat != 0;
    Keystroke stroke;
    stroke.alt = has(key.mod, KMOD_ALT);
    stroke.control = has(key.mod, KMOD_CTRL);
    stroke.shift = has(key.mod, KMOD_SHIFT);

    dropText = key.scancode == consoleKey;
    droppedText.clear();
    if (dropText || (stroke.shift && key.sym == SDLK_ESCAPE)) {
        if (isRepeated)
            return {};
        return {{KeyAction::Toggle, {kKeyConsole, 0, false, false, false}, false}};
    }
    const bool onlyControl = stroke.control && !stroke.alt;
    if ((onlyControl && isLetter(key, SDLK_v, SDL_SCANCODE_V)) ||
        (stroke.shift && key.sym == SDLK_INSERT))
        return {{KeyAction::Paste, {}, isRepeated}};
    if (onlyControl && isLetter(key, SDLK_c, SDL_SCANCODE_C))
        return {{KeyAction::Copy, {}, isRepeated}};
    if (stroke.alt && key.sym == SDLK_RETURN)
        return isRepeated ? std::vector<KeyAction>()
                          : std::vector<KeyAction>{{KeyAction::FullScreen, {}, false}};
    stroke.key = virtualKey(key);
    if (stroke.key == 0 || (stroke.key == kKeyEnter && isRepeated))
        return {};
    return {{KeyAction::Press, stroke, isRepeated}};
}

void KeyReader::readRelease(const SDL_KeyboardEvent& event)
{
    if (!dropText || event.keysym.scancode != consoleKey)
        return;
    dropText = false;
    const SDL_Keycode character = event.keysym.sym;
    if (character > 0 && character < 0x100)
        droppedText = toUtf8(std::string(1, static_cast<char>(character)));
}

// Modifiers are in the text already: Shift made the capital. Telling the console of them again
// would have it take a capital for a part of Shift+Tab.
std::vector<KeyAction> KeyReader::readText(const std::string& utf8) const
{
    std::vector<KeyAction> actions;
    for (const char character : toLatin1(utf8)) {
        if (character != 0)
            actions.push_back(
                {KeyAction::Press, {kKeyText, character, false, false, false}, isRepeated});
    }
    return actions;
}

} // namespace sandbox
