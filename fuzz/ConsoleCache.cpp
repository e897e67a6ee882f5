#include "fuzz/ConsoleCache.h"

#include "dm/console/KeyCodes.h"
#include "tests/support/MemoryFiles.h"

#include <dm/console.h>

#include <cstdlib>
#include <string>

namespace fuzz {

namespace {

constexpr const char* kCache = "./consolecache.bin";

void require(bool holds)
{
    if (!holds)
        std::abort();
}

struct Screen : dm::ShapeEngineInterface
{
    void begin() override { texts.clear(); }
    void setTextSize(float) override {}
    float getLineHeight() override { return 1.0f / 32; }
    m::Vector2Template<float> getTextExtent(const char*) override { return {}; }
    void setColor(const g::Color&) override {}
    void drawRectangle(const m::Vector2Template<float>&, const m::Vector2Template<float>&) override
    {
    }
    void drawText(const m::Vector2Template<float>&, const char* text) override { texts += text; }

    std::string texts;
};

// Everything that looks at lines and commands.
void use(dm::ScrollingTextWindow& window, Screen& screen)
{
    window.setVisibility(true);
    for (const int key : {0, dm::keys::kUp, dm::keys::kUp, dm::keys::kDown, dm::keys::kDown})
        window.appendInput(key, 0, false, false, false);
    for (const bool up : {true, false}) {
        window.appendInput(up ? dm::keys::kHome : dm::keys::kEnd, 0, false, true, false);
        window.renderVisibleText();
        window.printWithPrefix(true, "new\n");
        window.addToCommandStack("command");
        window.renderVisibleText();
    }
    require(screen.texts.find("new") != std::string::npos);
}

} // namespace

void checkConsoleCache(const std::uint8_t* data, size_t size)
{
    support::MemoryFiles files;
    files.contents[kCache].assign(data, data + size);
    Screen screen;
    try {
        dm::ScrollingTextWindow window(&screen, 0);
        use(window, screen);
        window.save();
    } catch (const zu::StreamException&) {
        require(files.contents.size() == 1 && files.contents[kCache].size() == size);
        return;
    }
    // What was saved is read again.
    const dm::ScrollingTextWindow window(&screen, 0);
    require(files.contents.size() == 1);
}

} // namespace fuzz
