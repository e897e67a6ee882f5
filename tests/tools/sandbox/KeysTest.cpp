#include "tools/sandbox/Keys.h"

#include "tools/sandbox/Latin1.h"
#include "tools/sandbox/Script.h"

#include <gtest/gtest.h>

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
    KeyReader keys;
    std::string all;
    for (const SDL_Event& event : events) {
        for (const KeyAction& action : keys.read(event)) {
            if (action.kind == KeyAction::Toggle)
                all += '!';
            else if (action.kind == KeyAction::Paste)
                all += "<paste>";
            else if (action.kind == KeyAction::FullScreen)
                all += "<full>";
            else if (action.keystroke.character != 0)
                all += action.keystroke.character;
            else if (action.kind == KeyAction::Press)
                all += '<' + std::to_string(action.keystroke.key) + '>';
        }
    }
    return all;
}

TEST(Keys, HaveTheirVirtualKeyCodes)
{
    using Row = std::tuple<SDL_Keycode, int, int>;
    for (const auto& [sym, mod, code] : {Row{SDLK_BACKSPACE, 0, 8},
                                         Row{SDLK_TAB, KMOD_LSHIFT, 9},
                                         Row{SDLK_RETURN, 0, 13},
                                         Row{SDLK_KP_ENTER, 0, 13},
                                         Row{SDLK_ESCAPE, 0, 27},
                                         Row{SDLK_PAGEUP, 0, 33},
                                         Row{SDLK_PAGEDOWN, 0, 34},
                                         Row{SDLK_END, KMOD_LCTRL, 35},
                                         Row{SDLK_HOME, 0, 36},
                                         Row{SDLK_LEFT, 0, 37},
                                         Row{SDLK_UP, 0, 38},
                                         Row{SDLK_RIGHT, 0, 39},
                                         Row{SDLK_DOWN, 0, 40},
                                         Row{SDLK_INSERT, 0, 45},
                                         Row{SDLK_DELETE, 0, 46},
                                         Row{SDLK_F1, 0, 112},
                                         Row{SDLK_F12, 0, 123},
                                         Row{SDLK_F13, 0, 124},
                                         Row{SDLK_KP_7, 0, 36},
                                         Row{SDLK_KP_PERIOD, 0, 46},
                                         Row{SDLK_KP_7, KMOD_NUM, 0},
                                         Row{SDLK_BACKSLASH, 0, 0},
                                         Row{SDLK_LSHIFT, KMOD_LSHIFT, 0}})
    {
        const SDL_Event event = pressed(sym, SDL_SCANCODE_UNKNOWN, mod);
        EXPECT_EQ(virtualKey(event.key.keysym), code) << SDL_GetKeyName(sym);
    }
}

TEST(Keys, TypeByTheirTextAndActByThemselves)
{
    EXPECT_EQ(
        read({pressed(SDLK_a), text("a"), pressed(SDLK_LEFT), pressed(SDLK_BACKSLASH), text("\\")}),
        "a<37>\\");
    EXPECT_EQ(read({text("\xC3\xA9\xE2\x82\xAC%")}), "\xE9"); // an event is one character
    EXPECT_EQ(read({text("\xE2\x82\xAC")}), "?");
    EXPECT_EQ(read({pressed(SDLK_v, SDL_SCANCODE_V, KMOD_LCTRL), pressed(SDLK_c)}), "<paste>");
    EXPECT_EQ(read({pressed(0x43C, SDL_SCANCODE_V, KMOD_LCTRL)}), "<paste>"); // Cyrillic
    EXPECT_EQ(read({pressed(SDLK_k, SDL_SCANCODE_V, KMOD_LCTRL)}), "");       // another order
    EXPECT_EQ(read({pressed(SDLK_RETURN), repeated(pressed(SDLK_RETURN))}), "<13>");
    EXPECT_EQ(read({pressed(SDLK_RETURN, SDL_SCANCODE_RETURN, KMOD_LALT)}), "<full>");
    EXPECT_EQ(read({repeated(pressed(SDLK_LEFT))}), "<37>");

    KeyReader keys;
    keys.read(pressed(SDLK_e, SDL_SCANCODE_E, KMOD_LSHIFT));
    const Keystroke expected{kKeyText, 'E', false, false, false};
    EXPECT_EQ(keys.read(text("E")).at(0).keystroke, expected);
    const Keystroke shiftTab{kKeyTab, 0, false, false, true};
    EXPECT_EQ(keys.read(pressed(SDLK_TAB, SDL_SCANCODE_TAB, KMOD_LSHIFT)).at(0).keystroke,
              shiftTab);
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
    KeyReader other(SDL_SCANCODE_NONUSBACKSLASH);
    EXPECT_EQ(other.read(pressed(SDLK_LESS, SDL_SCANCODE_NONUSBACKSLASH)).at(0).kind,
              KeyAction::Toggle);
    EXPECT_TRUE(other.read(down).empty());
}

TEST(Script, SaysWhichLineIsWrong)
{
    const auto problem = [](const char* script) -> std::string {
        try {
            return parseScript(script), "none";
        } catch (const ScriptError& error) {
            return error.what();
        }
    };
    EXPECT_EQ(problem("# nothing\n\n  key Home\r\nwait 3\ntype  x "), "none");
    EXPECT_EQ(
        problem("key Home\njump"),
        "line 2: \"jump\" is no step: key, press, type, enter, paste, wait, await or screenshot "
        "is one");
    EXPECT_EQ(problem("\nkey Hom"), "line 2: there is no key \"Hom\"");
    EXPECT_EQ(problem("press Super+A"), "line 1: \"super\" is neither Ctrl, Shift nor Alt");
    for (const char* const frames : {"wait 0", "wait 1x", "wait -1", "wait 99999999999"})
        EXPECT_NE(problem(frames).find("line 1: give a number of frames"), std::string::npos);
    EXPECT_EQ(problem("type"), "line 1: type what?");

    const std::vector<ScriptStep> steps = parseScript("press Ctrl+Shift+Home\ntype  x \nkey +");
    ASSERT_EQ(steps.size(), 3u);
    EXPECT_EQ(steps[0].key.sym, SDLK_HOME);
    EXPECT_EQ(steps[0].key.mod, KMOD_LCTRL | KMOD_LSHIFT);
    EXPECT_EQ(steps[1].text, " x ");
    EXPECT_EQ(steps[2].key.sym, SDLK_PLUS);
}

TEST(Latin1, ComesFromUtf8AndGoesBack)
{
    EXPECT_EQ(toLatin1("a\xC3\xA5\xC3\xBF\xC2\x80|\xE2\x82\xAC|\xF0\x9F\x8C\x99|"),
              "a\xE5\xFF\x80|?|?|");
    EXPECT_EQ(toLatin1("\xC3|\x80|\xE2\x82"), "?|?|?");
    std::string all;
    for (int byte = 0; byte < 256; ++byte)
        all += static_cast<char>(byte);
    EXPECT_EQ(toLatin1(toUtf8(all)), all);
}

} // namespace
