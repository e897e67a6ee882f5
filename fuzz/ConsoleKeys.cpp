#include "fuzz/ConsoleKeys.h"

#include "dm/console/KeyCodes.h"

#include <dm/console.h>
#include <zul/File.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace fuzz {

namespace {

namespace keys = dm::keys;

constexpr int kKeys[] = {keys::kPageUp,
                         keys::kPageDown,
                         keys::kEnd,
                         keys::kHome,
                         keys::kLeft,
                         keys::kUp,
                         keys::kRight,
                         keys::kDown,
                         keys::kDelete,
                         keys::kConsole,
                         keys::kTab,
                         keys::kEnter,
                         0,
                         -1,
                         255};
constexpr std::uint8_t kFirstKey = 11;

// What one script may cost: an alias can hold a thousand commands, and each command a thousand.
constexpr int kMaxEvents = 500;
constexpr int kMaxCommands = 2000;

void require(bool holds)
{
    if (!holds)
        std::abort();
}

struct NobodySees : dm::ShapeEngineInterface
{
    void begin() override { texts.clear(); }
    void setTextSize(float size) override { require(size == 0.02f); }
    float getLineHeight() override { return lineHeight; }
    m::Vector2Template<float> getTextExtent(const char* text) override
    {
        return {static_cast<float>(std::strlen(text)) * characterWidth, lineHeight};
    }
    void setColor(const g::Color&) override {}
    void drawRectangle(const m::Vector2Template<float>&, const m::Vector2Template<float>&) override
    {
        ++rectangles;
    }
    void drawText(const m::Vector2Template<float>&, const char* text) override
    {
        texts.emplace_back(text);
    }

    float lineHeight = 0.02f;
    float characterWidth = 0.01f;
    std::vector<std::string> texts; // of the last frame
    int rectangles = 0;
};

std::string_view takeWord(std::string_view& text)
{
    const size_t end = std::min(text.find_first_of(" ;"), text.size());
    const std::string_view word = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    return word;
}

class Player : dm::IOInterface
{
public:
    explicit Player(std::string_view bytes)
        : script(bytes)
    {
        console.setIOInterface(this);
        console.deliverKeystroke(keys::kConsole, 0, false, false, false);
    }

    void play()
    {
        for (int event = 0; event < kMaxEvents && !script.empty(); ++event) {
            const std::uint8_t byte = takeByte();
            if (byte >= 1 && byte <= 7)
                modifiers = byte;
            else if (byte >= 28 && byte <= 31)
                actAsHost(byte);
            else
                press(byte);
            render();
        }
    }

private:
    std::uint8_t takeByte()
    {
        if (script.empty())
            return 0;
        const auto byte = static_cast<std::uint8_t>(script.front());
        script.remove_prefix(1);
        return byte;
    }

    zu::String takeLine()
    {
        const size_t end = std::min(script.find('\n'), script.size());
        const zu::String line(script.data(), end);
        script.remove_prefix(std::min(end + 1, script.size()));
        return line;
    }

    float takeFloat()
    {
        const std::uint8_t byte = takeByte();
        constexpr float kOdd[] = {0.0f, -1.0f, 1e30f, std::numeric_limits<float>::infinity(),
                                  std::numeric_limits<float>::quiet_NaN()};
        return byte < std::size(kOdd) ? kOdd[byte] : static_cast<float>(byte) / 200.0f;
    }

    void press(std::uint8_t byte)
    {
        int key = byte < ' ' ? byte : 'A'; // what is typed is of no account then
        char character = static_cast<char>(byte);
        if (byte == '\n')
            key = keys::kEnter;
        if (byte >= kFirstKey && byte < kFirstKey + std::size(kKeys)) {
            key = kKeys[byte - kFirstKey];
            character = 0;
        }
        const int with = std::exchange(modifiers, 0);
        console.deliverKeystroke(key, character, with & 1, with & 2, with & 4);
    }

    void actAsHost(std::uint8_t action)
    {
        switch (action) {
        case 28: {
            const float width = takeFloat();
            window.setWindowSize({width, takeFloat()});
            window.setCommandLineWidth(takeFloat());
            break;
        }
        case 29:
            shapes.lineHeight = takeFloat();
            shapes.characterWidth = takeFloat();
            break;
        case 30:
            window.appendText(takeLine());
            break;
        default:
            window.scroll((takeByte() - 128) * (1 << takeByte() % 24));
            if (takeByte() % 4 == 0)
                window.scrollBottom();
        }
    }

    // What is kept from frame to frame must look like what is made anew.
    void render()
    {
        drawFrame();
        if (!console.isVisible() || script.size() % 4 != 0)
            return;
        const auto kept = rows();
        window.setWindowSize(window.getWindowSize());
        drawFrame();
        require(rows() == kept);
    }

    void drawFrame()
    {
        shapes.rectangles = 0;
        console.render();
        require(shapes.rectangles == (console.isVisible() ? 3 : 0));
    }

    // Without the command line: that goes on from how the last frame showed it.
    std::vector<std::string> rows() const
    {
        constexpr int kCommandLineTexts = 3;
        return {shapes.texts.begin() + kCommandLineTexts, shapes.texts.end()};
    }

    void executeCommand(const zu::InplaceString<128>& command) override
    {
        require(!command.empty() && command[command.length() - 1] == ';');
        if (++commands > kMaxCommands)
            return;
        std::string_view text = command.view();
        const std::string_view verb = takeWord(text);
        if (verb == "alias" || verb == "check")
            define(text, verb == "check");
        else if (verb == "bind" && !text.empty())
            console.bind(static_cast<unsigned char>(text[0]), std::string(text.substr(1)).c_str());
        else if (verb == "word" || verb == "function")
            window.addKnownWord(std::string(takeWord(text)).c_str(), verb == "function");
        else if (verb == "forget" && text.empty())
            window.removeAllKnownWords();
        else if (verb == "forget")
            window.removeKnownWord(std::string(takeWord(text)).c_str());
        else if (verb == "run" && depth < 3)
            run(text);
        else if (verb == "clear")
            console.clear();
        else if (verb == "close")
            console.close();
        else
            console.print("%s\n%s", command.c_str(), std::string(text).c_str());
    }

    void define(std::string_view text, bool check)
    {
        const std::string_view word = takeWord(text);
        zu::InplaceString<256> name(word.data(), word.size());
        name.toLower();
        const zu::InplaceString<256> meaning(text.data(), text.size());
        dm::AliasMap& aliases = window.accessAliasesMap();
        const dm::AliasMap before = check ? aliases : dm::AliasMap();
        aliases[name] = meaning;
        try {
            if (check)
                window.checkAliasValidity(name, meaning);
        } catch (const dm::ScrollingTextWindowException_IllegalAliasDefinition& error) {
            aliases = before;
            console.print("%s\n", error.getError());
        }
    }

    void run(std::string_view text)
    {
        ++depth;
        console.setText(zu::InplaceString<128>(text.data(), text.size()));
        console.processCommand(text.size() % 2 == 0);
        --depth;
    }

    std::string_view script;
    int modifiers = 0;
    int commands = 0;
    int depth = 0;
    NobodySees shapes;
    dm::Console console{&shapes, 0.02f};
    dm::ScrollingTextWindow& window = *console.getScrollingTextWindow();
};

} // namespace

void playConsoleKeys(const std::uint8_t* data, size_t size)
{
    zu::File::setFileSystemReadOnly(true);
    Player(std::string_view(reinterpret_cast<const char*>(data), size)).play();
    zu::File::setFileSystemReadOnly(false);
}

} // namespace fuzz
