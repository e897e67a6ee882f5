#include "dm/console/KeyCodes.h"
#include "fuzz/Checks.h"
#include "tests/support/RecordingShapes.h"

#include <zul/File.h>

#include <limits>

namespace fuzz {

namespace {

namespace keys = dm::keys;

// clang-format off
constexpr int kKeys[] = {keys::kPageUp, keys::kPageDown, keys::kEnd, keys::kHome, keys::kLeft,
                         keys::kUp, keys::kRight, keys::kDown, keys::kDelete, keys::kConsole,
                         keys::kTab, keys::kEnter, 0, -1, 255};
// clang-format on
constexpr std::uint8_t kFirstKey = 11;

// What one script may cost: an alias can hold a thousand commands, and each command a thousand.
constexpr int kMaxEvents = 500;
constexpr int kMaxCommands = 2000;

std::string takeUntil(std::string_view& text, const char* ends)
{
    const size_t end = std::min(text.find_first_of(ends), text.size());
    const std::string taken(text.substr(0, end));
    text.remove_prefix(std::min(end + 1, text.size()));
    return taken;
}

class Player : dm::IOInterface
{
public:
    explicit Player(std::string_view bytes)
        : script(bytes)
    {
        console.setIOInterface(this);
        // A drawing interface may print.
        shapes.onCall = [this, call = 0]() mutable {
            ++call % 64 != 0 ? void() : console.print(".");
        };
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
        const auto byte = static_cast<std::uint8_t>(script.empty() ? 0 : script.front());
        script.remove_prefix(script.empty() ? 0 : 1);
        return byte;
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
        const bool types = byte < kFirstKey || byte >= kFirstKey + std::size(kKeys);
        const int key = !types         ? kKeys[byte - kFirstKey]
                        : byte == '\n' ? keys::kEnter
                        : byte < ' '   ? byte
                                       : 'A';
        const int with = std::exchange(modifiers, 0);
        console.deliverKeystroke(key, types ? static_cast<char>(byte) : '\0', with & 1, with & 2,
                                 with & 4);
    }

    void actAsHost(std::uint8_t action)
    {
        if (action == 28) {
            const float width = takeFloat();
            window.setWindowSize({width, takeFloat()});
            window.setCommandLineWidth(takeFloat());
        } else if (action == 29) {
            shapes.lineHeight = takeFloat();
            shapes.characterWidth = takeFloat();
            window.setWindowSize(window.getWindowSize()); // asks for the height
        } else if (action == 30) {
            window.appendText(takeUntil(script, "\n").c_str());
        } else {
            window.scroll((takeByte() - 128) * (1 << takeByte() % 24));
            if (takeByte() % 4 == 0)
                window.scrollBottom();
        }
    }

    // What is kept from frame to frame must look like what is made anew. Not so the command line,
    // which goes on from how the last frame showed it.
    void render()
    {
        shapes.isRecording = console.isVisible() && script.size() % 8 == 0;
        console.render();
        if (!shapes.isRecording)
            return;
        auto kept = shapes.rows();
        window.setWindowSize(window.getWindowSize());
        console.render();
        kept[0] = shapes.rows().at(0);
        require(shapes.rows() == kept);
    }

    void executeCommand(const zu::InplaceString<128>& command) override
    {
        require(!command.empty() && command[command.length() - 1] == ';');
        if (++commands > kMaxCommands)
            return;
        std::string_view text = command.view();
        const std::string verb = takeUntil(text, " ;");
        if (verb == "alias")
            define(takeUntil(text, " ;").c_str(), std::string(text).c_str());
        else if (verb == "bind" && !text.empty())
            console.bind(static_cast<unsigned char>(text[0]), std::string(text.substr(1)).c_str());
        else if (verb == "word" || verb == "function")
            window.addKnownWord(takeUntil(text, " ;").c_str(), verb == "function");
        else if (verb == "forget")
            text.empty() ? window.removeAllKnownWords()
                         : window.removeKnownWord(takeUntil(text, " ;").c_str());
        else if (verb == "run" && depth < 3)
            run(text);
        else if (verb == "clear")
            console.clear();
        else if (verb == "close")
            console.close();
        else
            console.print("%s\n%s", command.c_str(), std::string(text).c_str());
    }

    void define(const char* name, const char* text)
    {
        window.accessAliasesMap()[name] = text;
        try {
            window.checkAliasValidity(name, text);
        } catch (const dm::ScrollingTextWindowException_IllegalAliasDefinition&) {
            // Entered all the same: expanding it must come to an end.
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
    support::RecordingShapes shapes;
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
