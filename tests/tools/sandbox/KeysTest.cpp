#include "tools/sandbox/Keys.h"

#include "tools/sandbox/Latin1.h"
#include "tools/sandbox/Script.h"

#include <gmock/gmock.h>
#include <sstream>

namespace {

using namespace sandbox;

SDL_Event pressed(SDL_Keycode sym, SDL_Scancode scancode = SDL_SCANCODE_UNKNOWN, int mod = 0)
{
    SDL_Keysym key{};
    key.sym = sym;
    key.scancode = scancode;
    key.mod = static_cast<Uint16>(mod);
    return keyEvents(key)[0];
}

SDL_Event repeated(SDL_Event event)
{
    event.key.repeat = 1;
    return event;
}

SDL_Event text(const char* utf8) { return typingEvents(utf8).at(0); }

/// What is typed and done, shortly: "!" for the console key, characters, "<code>" for keys.
std::string read(const std::vector<SDL_Event>& events)
{
    const char* const names[] = {"", "<paste>", "<copy>", "<full>", "!"};
    KeyReader keys;
    std::string all;
    for (const SDL_Event& event : events) {
        for (const KeyAction& action : keys.read(event)) {
            const Keystroke& stroke = action.keystroke;
            if (action.kind != KeyAction::Press)
                all += names[action.kind];
            else if (stroke.character != 0)
                all += stroke.character;
            else
                all += '<' + std::to_string(stroke.key) + '>';
        }
    }
    return all;
}

TEST(Keys, HaveTheirVirtualKeyCodes)
{
    using Row = std::tuple<const char*, int, int>;
    for (const auto& [names, mod, code] : // of several names the codes go on by one
         {Row{"Backspace,Tab", 0, 8}, Row{"Return", 0, 13}, Row{"Keypad Enter", 0, 13},
          Row{"Escape", 0, 27}, Row{"PageUp,PageDown,End,Home,Left,Up,Right,Down", KMOD_LCTRL, 33},
          Row{"Insert,Delete", 0, 45}, Row{"F1,F2,F3,F4,F5,F6,F7,F8,F9,F10,F11,F12,F13", 0, 112},
          Row{"Keypad 9,Keypad 3,Keypad 1,Keypad 7,Keypad 4,Keypad 8,Keypad 6,Keypad 2", 0, 33},
          Row{"Keypad 0,Keypad .", 0, 45}, Row{"Keypad 7", KMOD_NUM, 0}, Row{"\\", 0, 0},
          Row{"Left Shift", KMOD_LSHIFT, 0}})
    {
        std::istringstream list(names);
        int expected = code;
        for (std::string name; std::getline(list, name, ','); ++expected) {
            const SDL_Event event =
                pressed(SDL_GetKeyFromName(name.c_str()), SDL_SCANCODE_UNKNOWN, mod);
            EXPECT_EQ(virtualKey(event.key.keysym), expected) << name;
        }
    }
}

TEST(Keys, TypeByTheirTextAndActByThemselves)
{
    const SDL_Event a = pressed(SDLK_a);
    const SDL_Event enter = pressed(SDLK_RETURN);
    using Row = std::pair<std::vector<SDL_Event>, const char*>;
    for (const auto& [events, expected] :
         {Row{{a, text("a"), pressed(SDLK_LEFT), pressed(SDLK_BACKSLASH), text("\\")}, "a<37>\\"},
          Row{{text("\xC3\xA9\xE2\x82\xAC%")}, "\xE9"}, // an event is one character
          Row{{pressed(SDLK_v, {}, KMOD_LCTRL), pressed(SDLK_c, {}, KMOD_LCTRL)}, "<paste><copy>"},
          Row{{pressed(0x43C, SDL_SCANCODE_V, KMOD_LCTRL)}, "<paste>"}, // Cyrillic
          Row{{pressed(SDLK_k, SDL_SCANCODE_V, KMOD_LCTRL)}, ""},       // another order
          Row{{enter, repeated(enter), repeated(pressed(SDLK_LEFT))}, "<13><37>"},
          Row{{pressed(SDLK_RETURN, SDL_SCANCODE_RETURN, KMOD_LALT)}, "<full>"}})
        EXPECT_EQ(read(events), expected);

    KeyReader keys;
    keys.read(pressed(SDLK_e, SDL_SCANCODE_E, KMOD_LSHIFT));
    EXPECT_EQ(keys.read(text("E")).at(0).keystroke, (Keystroke{kKeyText, 'E'}));
    EXPECT_EQ(keys.read(pressed(SDLK_TAB, SDL_SCANCODE_TAB, KMOD_LSHIFT)).at(0).keystroke,
              (Keystroke{kKeyTab, 0, false, false, true}));
}

TEST(Keys, TheConsoleKeyIsFoundByItsPlaceAndNeverTypes)
{
    const SDL_Event down = pressed(SDLK_CARET, SDL_SCANCODE_GRAVE);
    SDL_Event up = down;
    up.type = SDL_KEYUP;
    const SDL_Event a = pressed(SDLK_a);
    EXPECT_EQ(read({down, text("^"), repeated(down), text("^"), up, a, text("a")}), "!a");
    EXPECT_EQ(read({down, up, text("^"), a, text("^")}), "!^"); // late, then another key's
    EXPECT_EQ(read({down, up, text("x")}), "!x");
    EXPECT_EQ(read({pressed(SDLK_ESCAPE, SDL_SCANCODE_ESCAPE, KMOD_RSHIFT), a, text("a"),
                    pressed(SDLK_ESCAPE)}),
              "!a<27>");
}

TEST(Script, SaysWhichLineIsWrong)
{
    EXPECT_EQ(parseScript("# nothing\n\n  key Home\r\nwait 3\ntype  x ").size(), 3u);
    using Row = std::pair<const char*, const char*>;
    for (const auto& [script, wanted] :
         {Row{"\nkey Hom", "line 2: there is no key \"Hom\""},
          Row{"press Super+A", "line 1: \"super\" is neither Ctrl, Shift nor Alt"},
          Row{"wait 0", "line 1: give a number of frames from 1 to 100000"},
          Row{"wait 1x", "line 1: give a number of frames from 1 to 100000"},
          Row{"type", "line 1: type what?"}})
        EXPECT_THAT([&script = script] { parseScript(script); },
                    testing::ThrowsMessage<ScriptError>(wanted));

    const std::vector<ScriptStep> steps = parseScript("press Ctrl+Shift+Home\ntype  x \nkey +");
    ASSERT_EQ(steps.size(), 3u);
    EXPECT_EQ(steps[0].key.sym, SDLK_HOME);
    EXPECT_EQ(steps[0].key.mod, KMOD_LCTRL | KMOD_LSHIFT);
    EXPECT_EQ(steps[1].text, " x ");
    EXPECT_EQ(steps[2].key.sym, SDLK_PLUS);
}

TEST(Latin1, ComesFromUtf8AndGoesBack)
{
    EXPECT_EQ(toLatin1("\xE2\x82\xAC|\xF0\x9F\x8C\x99|\xC3|\x80|\xE2\x82"), "?|?|?|?|?");
    std::string all;
    for (int byte = 0; byte < 256; ++byte)
        all += static_cast<char>(byte);
    EXPECT_EQ(toLatin1(toUtf8(all)), all);
}

} // namespace
