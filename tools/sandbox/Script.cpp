#include "tools/sandbox/Script.h"

#include "tools/sandbox/Variables.h"

#include <algorithm>
#include <charconv>
#include <cstring>

namespace sandbox {

namespace {

constexpr int kMaxWaitFrames = 100000;

[[noreturn]] void refuse(size_t line, const std::string& why)
{
    throw ScriptError("line " + std::to_string(line) + ": " + why);
}

SDL_Keysym parseKey(size_t line, std::string_view text, SDL_Scancode consoleKey)
{
    SDL_Keysym key{};
    int modifiers = KMOD_NONE;
    for (size_t plus = text.find('+'); plus != std::string_view::npos && plus + 1 < text.size();
         plus = text.find('+'))
    {
        const std::string modifier = toLower(text.substr(0, plus));
        if (modifier == "ctrl")
            modifiers |= KMOD_LCTRL;
        else if (modifier == "shift")
            modifiers |= KMOD_LSHIFT;
        else if (modifier == "alt")
            modifiers |= KMOD_LALT;
        else
            refuse(line, "\"" + modifier + "\" is neither Ctrl, Shift nor Alt");
        text.remove_prefix(plus + 1);
    }
    std::string name(text);
    if (toLower(name) == "enter")
        name = "Return";
    else if (toLower(name) == "esc")
        name = "Escape";
    key.mod = static_cast<Uint16>(modifiers);
    if (toLower(name) == "console") {
        key.scancode = consoleKey;
        key.sym = SDL_GetKeyFromScancode(consoleKey);
        return key;
    }
    key.sym = SDL_GetKeyFromName(name.c_str());
    key.scancode = SDL_GetScancodeFromKey(key.sym);
    if (key.sym == SDLK_UNKNOWN)
        refuse(line, "there is no key \"" + name + '"');
    return key;
}

int parseFrames(size_t line, std::string_view text)
{
    int frames = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, frames);
    if (error != std::errc() || stop != end || frames < 1 || frames > kMaxWaitFrames)
        refuse(line, "give a number of frames from 1 to " + std::to_string(kMaxWaitFrames));
    return frames;
}

ScriptStep parseStep(size_t line, std::string_view text, SDL_Scancode consoleKey)
{
    const size_t space = std::min(text.find(' '), text.size());
    const std::string verb(text.substr(0, space));
    const std::string_view rest = text.substr(std::min(space + 1, text.size()));
    ScriptStep step;
    step.text = rest;
    if (verb == "key" || verb == "press") {
        step.kind = ScriptStep::Key;
        step.key = parseKey(line, rest, consoleKey);
    } else if (verb == "wait") {
        step.kind = ScriptStep::Wait;
        step.frames = parseFrames(line, rest);
    } else if (verb == "await") {
        step.kind = ScriptStep::Await;
    } else if (verb == "type") {
        step.kind = ScriptStep::Type;
    } else if (verb == "enter") {
        step.kind = ScriptStep::Enter;
    } else if (verb == "paste") {
        step.kind = ScriptStep::Paste;
    } else if (verb == "screenshot") {
        step.kind = ScriptStep::Screenshot;
    } else {
        refuse(line, "\"" + verb +
                         "\" is no step: key, press, type, enter, paste, wait, "
                         "await or screenshot is one");
    }
    if (rest.empty())
        refuse(line, verb + " what?");
    return step;
}

} // namespace

std::vector<ScriptStep> parseScript(std::string_view text, SDL_Scancode consoleKey)
{
    std::vector<ScriptStep> steps;
    for (size_t number = 1; !text.empty(); ++number) {
        const size_t end = std::min(text.find('\n'), text.size());
        std::string_view line = text.substr(0, end);
        text.remove_prefix(std::min(end + 1, text.size()));
        if (!line.empty() && line.back() == '\r')
            line.remove_suffix(1);
        line.remove_prefix(std::min(line.find_first_not_of(" \t"), line.size()));
        if (!line.empty() && line[0] != '#')
            steps.push_back(parseStep(number, line, consoleKey));
    }
    return steps;
}

std::vector<SDL_Event> typingEvents(const std::string& utf8)
{
    std::vector<SDL_Event> events;
    for (size_t at = 0; at < utf8.size();) {
        SDL_Event event{};
        event.type = SDL_TEXTINPUT;
        size_t length = 1; // of a character: what continues one has its highest bits 10
        while (at + length < utf8.size() && (utf8[at + length] & 0xC0) == 0x80)
            ++length;
        length = std::min(length, sizeof event.text.text - 1);
        std::memcpy(event.text.text, utf8.data() + at, length);
        events.push_back(event);
        at += length;
    }
    return events;
}

std::vector<SDL_Event> keyEvents(const SDL_Keysym& key)
{
    SDL_Event event{};
    event.type = SDL_KEYDOWN;
    event.key.state = SDL_PRESSED;
    event.key.keysym = key;
    std::vector<SDL_Event> events{event};
    event.type = SDL_KEYUP;
    event.key.state = SDL_RELEASED;
    events.push_back(event);
    return events;
}

SDL_Keysym enterKey()
{
    SDL_Keysym key{};
    key.sym = SDLK_RETURN;
    key.scancode = SDL_SCANCODE_RETURN;
    return key;
}

} // namespace sandbox
