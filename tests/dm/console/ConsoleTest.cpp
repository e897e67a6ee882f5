#include "dm/console/KeyCodes.h"
#include "support/WaitUntil.h"

#include <dm/console.h>
#include <zul/File.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <gtest/gtest.h>
#include <limits>
#include <map>
#include <random>
#include <string>
#include <vector>

namespace {

namespace keys = dm::keys;

/// Keeps what a frame shows: texts by their height on the screen, from left to right.
class Screen : public dm::ShapeEngineInterface
{
public:
    void begin() override { rows.clear(); }
    void setTextSize(float) override {}
    float getLineHeight() override
    {
        if (onCall)
            onCall();
        return lineHeight;
    }
    m::Vector2Template<float> getTextExtent(const char* text) override
    {
        return {static_cast<float>(std::string(text).size()) / 128, lineHeight};
    }
    void setColor(const g::Color&) override {}
    void drawRectangle(const m::Vector2Template<float>&, const m::Vector2Template<float>&) override
    {
    }
    void drawText(const m::Vector2Template<float>& position, const char* text) override
    {
        rows[position.y] += text;
        if (onCall)
            onCall();
    }

    float lineHeight = 1.0f / 32;
    std::map<float, std::string> rows; // from the top
    std::function<void()> onCall;
};

/// A game with the commands that the console's own features need.
class Game : public dm::IOInterface
{
public:
    void executeCommand(const zu::InplaceString<128>& command) override
    {
        commands.emplace_back(command.view());
        const std::string& text = commands.back();
        if (text.rfind("echo ", 0) == 0)
            dm::Console::getInstance()->print("%s\n", text.substr(5, text.size() - 6).c_str());
        else if (text.rfind("bind ", 0) == 0)
            dm::Console::getInstance()->bind(static_cast<unsigned char>(text[5]), text.c_str() + 7);
        else if (text.rfind("alias ", 0) == 0)
            define(text.substr(6, 1).c_str(), text.substr(8, text.size() - 9).c_str());
        if (onCommand)
            onCommand(text);
    }

    std::vector<std::string> commands;
    std::function<void(const std::string&)> onCommand;

private:
    static void define(const char* name, const char* text)
    {
        dm::ScrollingTextWindow& window = *dm::Console::getInstance()->getScrollingTextWindow();
        window.accessAliasesMap()[name] = text;
        try {
            window.checkAliasValidity(name, text);
        } catch (const dm::ScrollingTextWindowException& error) {
            window.accessAliasesMap().erase(name);
            window.print("%s\n", error.getError());
        }
    }
};

using Texts = std::vector<std::string>;

class ConsoleTest : public testing::Test
{
protected:
    ConsoleTest()
    {
        folder = std::filesystem::temp_directory_path() /
                 ("dm-console-" + std::to_string(std::random_device()()));
        std::filesystem::create_directory(folder);
        zu::File::setFileSysPathForWrite(folder.string().c_str());
        restart();
    }
    ~ConsoleTest() override
    {
        console.reset();
        zu::File::setFileSysPathForWrite(nullptr);
        std::filesystem::remove_all(folder);
    }

    void restart()
    {
        console.reset();
        console = std::make_unique<dm::Console>(&screen, 1.0f / 16);
        console->setIOInterface(&game);
        window = console->getScrollingTextWindow();
    }

    void press(int key, const std::string& with = "", char character = 0)
    {
        const auto holds = [&](char modifier) { return with.find(modifier) != with.npos; };
        console->deliverKeystroke(key, character, holds('a'), holds('c'), holds('s'));
    }
    void type(const std::string& text)
    {
        for (const char character : text)
            press(0, "", character);
    }
    void enter(const std::string& text)
    {
        type(text);
        press(keys::kEnter, "", '\r');
    }
    std::string line() const { return std::string(window->getText().view()); }
    Texts takeCommands() { return std::exchange(game.commands, {}); }

    /// The newest `count` lines in view, upper one first, without their line feeds; "" for none.
    Texts shown(size_t count)
    {
        console->render();
        Texts lines;
        for (const auto& [y, text] : screen.rows)
            lines.push_back(text.substr(0, text.find('\n')));
        EXPECT_EQ(lines.back().front(), '>');
        lines.pop_back(); // the command line
        lines.insert(lines.begin(), count, "");
        return Texts(lines.end() - static_cast<std::ptrdiff_t>(count), lines.end());
    }

    std::filesystem::path folder;
    Screen screen;
    Game game;
    std::unique_ptr<dm::Console> console;
    dm::ScrollingTextWindow* window = nullptr;
};

TEST_F(ConsoleTest, ServesAWholeSession)
{
    window->addKnownWord("echo", false);
    window->addKnownWord("help", false);
    window->addKnownWord("setfov", true);
    press(keys::kConsole, "", '`');

    enter("echo hi;  echo 50% done %s%n 100%%");
    EXPECT_EQ(takeCommands(), Texts({"echo hi;", "echo 50% done %s%n 100%%;"}));
    EXPECT_EQ(shown(5),
              Texts({"", ">echo hi;", "hi", ">echo 50% done %s%n 100%;", "50% done %s%n 100%%"}));

    enter("alias x echo one;echo two");
    enter("X;x");
    EXPECT_EQ(takeCommands(), Texts({"alias x echo one;echo two;", "echo one;", "echo two;",
                                     "echo one;", "echo two;"}));
    enter("alias y x;y");
    EXPECT_EQ(shown(1), Texts({"ScrollingTextWindow: Resolving alias \"y\" causes a loop - alias "
                               "used inside alias"}));
    EXPECT_EQ(window->getAliasesMap().size(), 1u);

    enter("bind p echo 1;x");
    type("half typed p");
    press(keys::kConsole);
    takeCommands();
    type("pq");
    EXPECT_EQ(takeCommands(), Texts({"echo 1;", "echo one;", "echo two;"}));
    EXPECT_EQ(line(), "") << "the binding took the half-typed line's place";
    press(keys::kConsole);
    EXPECT_EQ(shown(2), Texts({"one", "two"})) << "not echoed";

    type("e");
    for (const char* proposal : {"echo", "help", "setfov(  );", "echo"}) {
        press(keys::kTab, "", '\t');
        EXPECT_EQ(line(), proposal);
    }
    press(keys::kTab, "s");
    type("90");
    EXPECT_EQ(line(), "setfov( 90 );");
    press(keys::kEscape);

    // The newest commands, then round to the oldest.
    for (const char* entered : {"bind p echo 1;x", "alias y x;y", "X;x"}) {
        press(keys::kUp);
        EXPECT_EQ(line(), entered);
    }
    for (int i = 0; i < 3; ++i)
        press(keys::kDown);
    EXPECT_EQ(line(), "echo hi;  echo 50% done %s%n 100%%");

    window->save();
    restart();
    press(keys::kConsole);
    EXPECT_EQ(shown(1), Texts({"two"}));
    press(keys::kUp);
    EXPECT_EQ(line(), "bind p echo 1;x");
    EXPECT_TRUE(console->getBindingsMap().empty());
}

TEST_F(ConsoleTest, GivesKeysToWhomTheyBelong)
{
    console->bind('g', "god");
    console->bind(0xe5, "");
    console->bind(0, "any");
    press('G', "", 'g');
    press(keys::kRight);
    EXPECT_EQ(takeCommands(), Texts({"god;", "any;"})) << "keys that type nothing are bound as 0";
    console->setText("kept");
    type("h");
    press(keys::kEnter, "a");
    EXPECT_EQ(line(), "kept");
    press(0, "", '\xe5');
    EXPECT_EQ(line(), "") << "an empty binding discards what was typed, and runs nothing";
    console->setText("hidden");
    press(keys::kEnter);
    press(keys::kEnter);
    EXPECT_EQ(takeCommands(), Texts({"hidden;"}));
    console->unbind('g');
    console->unbind('g');
    EXPECT_EQ(console->getBindingsMap().size(), 2u);
    console->unbind(0);
    EXPECT_TRUE(console->getBindingsMap().empty());

    console->bind('g', "god");
    press(keys::kConsole, "acs", 'x');
    EXPECT_TRUE(console->isVisible());
    type("g");
    press(keys::kTab, "a");
    press(keys::kEnter, "a", '\r');
    EXPECT_EQ(line(), "g");
    console->close();
    EXPECT_FALSE(console->isVisible());
    screen.rows.clear();
    console->render();
    EXPECT_TRUE(screen.rows.empty());

    // Shift goes on with what a Tab began, whatever it is pressed with; other keys begin anew.
    press(keys::kConsole);
    press(keys::kEscape);
    for (const char* word : {"b1", "b2", "b3"})
        window->addKnownWord(word, false);
    const struct
    {
        int key;
        const char* with;
        char character;
        const char* line;
    } steps[] = {{'B', "", 'b', "b"}, {9, "s", 0, "b"},       {'B', "", 'b', "bb"},
                 {8, "", 0, "b"},     {9, "", 0, "b1"},       {16, "s", 0, "b1"},
                 {9, "s", 0, "b3"},   {'X', "s", 'X', "b3X"}, {9, "", 0, "b1"},
                 {8, "", 0, "b"},     {9, "", 0, "b1"},       {9, "", 0, "b2"}};
    for (const auto& step : steps) {
        press(step.key, step.with, step.character);
        EXPECT_EQ(line(), step.line) << "after key " << step.key;
    }
}

TEST_F(ConsoleTest, ScrollsWithKeys)
{
    const int onScreen = 27;
    for (int i = 0; i < 100; ++i)
        console->print("%d\n", i);
    press(keys::kConsole);
    const struct
    {
        int key;
        const char* with;
        const char* bottom;
    } steps[] = {{keys::kUp, "c", "98"},   {keys::kPageUp, "", "72"}, {keys::kDown, "c", "73"},
                 {keys::kHome, "c", "26"}, {keys::kUp, "c", "26"},    {keys::kPageDown, "", "52"},
                 {keys::kEnd, "c", "99"},  {keys::kDown, "c", "99"},  {keys::kPageUp, "", "73"}};
    for (const auto& [key, with, bottom] : steps) {
        press(key, with);
        const Texts seen = shown(onScreen);
        EXPECT_EQ(seen.back(), bottom) << "key " << key;
        EXPECT_EQ(seen.front(), std::to_string(std::stoi(bottom) - onScreen + 1));
    }
}

TEST_F(ConsoleTest, LetsCommandsUseTheConsole)
{
    window->printString("no line feed, ");
    console->setIOInterface(nullptr);
    press(keys::kConsole);
    enter("a;b");
    const std::string error = "ERROR: Unable to process command, no IO interface attached";
    EXPECT_EQ(shown(4), Texts({">no line feed, a;", error, ">b;", error}));

    console->setIOInterface(&game);
    game.onCommand = [&](const std::string& command) {
        if (command == "nest;") {
            console->setText("inner 1;inner 2");
            console->processCommand(false);
            enter("inner 3");
            type("left over");
        } else if (command == "detach;") {
            console->setIOInterface(nullptr);
        } else if (command == "throw;") {
            throw zu::Exception("thrown");
        }
        console->render();
        console->clear();
    };
    enter("nest;outer;detach;lost");
    EXPECT_EQ(takeCommands(),
              Texts({"nest;", "inner 1;", "inner 2;", "inner 3;", "outer;", "detach;"}));
    EXPECT_EQ(shown(1), Texts({error}));
    EXPECT_EQ(line(), "left over");

    console->setIOInterface(&game);
    console->setText("throw;never run");
    EXPECT_THROW(press(keys::kEnter), zu::Exception);
    enter("next");
    EXPECT_EQ(takeCommands(), Texts({"throw;", "next;"}));

    // Longer than the strings have room for, and than is ever printed; and an alias of no words.
    const std::string longCommand(10'000, 'w');
    enter(longCommand);
    EXPECT_EQ(takeCommands(), Texts({longCommand + ";"}));
    window->accessAliasesMap()["x"] = "";
    enter("x");
    EXPECT_EQ(takeCommands(), Texts());
}

TEST_F(ConsoleTest, SavesOnceASecond)
{
    zu::Timer sinceStart;
    restart();
    press(keys::kConsole);
    enter("one");
    ASSERT_TRUE(support::waitUntil([&] {
        console->update();
        return std::filesystem::exists(folder / "consolecache.bin");
    }));
    EXPECT_GT(sinceStart.getElapsed(), 1.0);
}

TEST_F(ConsoleTest, IsTheInstanceUntilAnyIsDestroyed)
{
    EXPECT_EQ(dm::Console::getInstance(), console.get());
    {
        dm::Console second(&screen, 0.02f);
        EXPECT_EQ(dm::Console::getInstance(), &second);
        restart();
        EXPECT_EQ(dm::Console::getInstance(), console.get());
    }
    EXPECT_EQ(dm::Console::getInstance(), nullptr);
    console.reset();
    std::ofstream(folder / "consolecache.bin") << "damaged";
    EXPECT_THROW(dm::Console(&screen, 0.02f), zu::StreamException);
    EXPECT_EQ(dm::Console::getInstance(), nullptr);
    std::filesystem::remove(folder / "consolecache.bin");
    EXPECT_NO_THROW(restart());
}

TEST_F(ConsoleTest, SurvivesWindowsOfAnySizeAndPrintingWhileDrawing)
{
    press(keys::kConsole);
    const float infinite = std::numeric_limits<float>::infinity();
    const float odd[] = {0,     -1,     0.02f,     1,
                         1e30f, 1e-38f, -infinite, std::numeric_limits<float>::quiet_NaN()};
    screen.onCall = [&] { console->print("drawn\nin the middle of"); };
    for (const float width : odd) {
        for (const float height : odd) {
            screen.lineHeight = height;
            window->setWindowSize({width, 1 / height});
            window->setWindowPosition({height, width});
            window->setCommandLinePosition({width, height});
            window->setCommandLineWidth(width);
            for (const int key : {keys::kPageUp, keys::kHome, keys::kPageDown, keys::kEnd}) {
                press(key, "c");
                console->print(
                    "a line \"of several\" words, 0.5 0x1f, that a narrow pane breaks\n");
                window->scroll(key % 2 == 0 ? std::numeric_limits<int>::max()
                                            : std::numeric_limits<int>::min());
                enter("word");
                console->render();
            }
        }
    }
    screen.onCall = nullptr;
    screen.lineHeight = 1.0f / 32;
    window->setWindowSize({0.875f, 0.84375f});
    window->setWindowPosition({0.0625f, 0.0625f});
    window->setCommandLinePosition({0.0625f, 0.90625f});
    window->scrollBottom();
    console->print("\nas ever\n");
    EXPECT_EQ(shown(1), Texts({"as ever"}));
}

} // namespace
