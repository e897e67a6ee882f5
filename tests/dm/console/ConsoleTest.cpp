#include "ConsoleFixture.h"
#include "support/WaitUntil.h"

#include <tuple>

using namespace support;

namespace {

/// The console of a game with the commands that the console's own features need.
class ConsoleTest : public ConsoleFixture, protected dm::IOInterface
{
protected:
    ConsoleTest() { console->setIOInterface(this); }

    void executeCommand(const zu::InplaceString<128>& command) override
    {
        const std::string text(command.view());
        commands.push_back(text);
        if (text.rfind("echo ", 0) == 0)
            console->print("%s\n", text.substr(5, text.size() - 6).c_str());
        else if (text.rfind("bind ", 0) == 0)
            console->bind(static_cast<unsigned char>(text[5]), text.c_str() + 7);
        else if (text.rfind("alias ", 0) == 0)
            define(text.substr(6, 1).c_str(), text.substr(8, text.size() - 9).c_str());
        if (onCommand)
            onCommand(text);
    }

    void define(const char* name, const char* text)
    {
        window->accessAliasesMap()[name] = text;
        try {
            window->checkAliasValidity(name, text);
        } catch (const dm::ScrollingTextWindowException& error) {
            window->accessAliasesMap().erase(name);
            window->print("%s\n", error.getError());
        }
    }

    Texts takeCommands() { return std::exchange(commands, {}); }

    Texts commands;
    std::function<void(const std::string&)> onCommand;
};

TEST_F(ConsoleTest, ServesAWholeSession)
{
    enter("echo hi;  echo 50% done %s%n 100%%");
    EXPECT_EQ(takeCommands(), Texts({"echo hi;", "echo 50% done %s%n 100%%;"}));
    EXPECT_EQ(shown(),
              Texts({"50% done %s%n 100%%", ">echo 50% done %s%n 100%;", "hi", ">echo hi;"}));

    enter("alias x echo one;echo two");
    enter("X;x");
    EXPECT_EQ(takeCommands(), Texts({"alias x echo one;echo two;", "echo one;", "echo two;",
                                     "echo one;", "echo two;"}));
    enter("alias y x;y");
    EXPECT_EQ(shown(1), Texts({"ScrollingTextWindow: Resolving alias \"y\" causes a loop - alias "
                               "used inside alias"}));

    enter("bind p echo 1;x");
    type("half typed p");
    press(keys::kConsole);
    takeCommands();
    type("pq");
    EXPECT_EQ(takeCommands(), Texts({"echo 1;", "echo one;", "echo two;"}));
    EXPECT_EQ(line(), "") << "the binding took the half-typed line's place";
    press(keys::kConsole);
    EXPECT_EQ(shown(2), Texts({"two", "one"})) << "not echoed";
}

TEST_F(ConsoleTest, GivesKeysToWhomTheyBelong)
{
    console->close();
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
    type("\xe5");
    EXPECT_EQ(line(), "") << "an empty binding discards what was typed, and runs nothing";
    console->setText("hidden");
    press(keys::kEnter);
    press(keys::kEnter);
    EXPECT_EQ(takeCommands(), Texts({"hidden;"}));
    console->unbind('h');
    EXPECT_EQ(console->getBindingsMap().size(), 3u);
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

    // Shift goes on with what a Tab began, whatever it is pressed with; other keys begin anew.
    press(keys::kEscape);
    for (const char* word : {"b1", "b2", "b3"})
        window->addKnownWord(word, false);
    const std::tuple<int, const char*, char, const char*> steps[] = {
        {'B', "", 'b', "b"}, {9, "s", 0, "b"},   {'B', "", 'b', "bb"}, {8, "", 0, "b"},
        {9, "", 0, "b1"},    {16, "s", 0, "b1"}, {9, "s", 0, "b3"},    {'X', "s", 'X', "b3X"},
        {9, "", 0, "b1"},    {8, "", 0, "b"},    {9, "", 0, "b1"},     {9, "", 0, "b2"}};
    for (const auto& [key, with, character, expected] : steps) {
        press(key, with, character);
        EXPECT_EQ(line(), expected) << "after key " << key;
    }
}

TEST_F(ConsoleTest, LetsCommandsUseTheConsole)
{
    console->setIOInterface(nullptr);
    enter("a;b");
    const std::string error = "ERROR: Unable to process command, no IO interface attached";
    EXPECT_EQ(shown(), Texts({error, ">b;", error, ">a;"}));

    console->setIOInterface(this);
    onCommand = [&](const std::string& command) {
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
        console->clear();
    };
    enter("nest;outer;detach;lost");
    EXPECT_EQ(takeCommands(),
              Texts({"nest;", "inner 1;", "inner 2;", "inner 3;", "outer;", "detach;"}));
    EXPECT_EQ(shown(1), Texts({error}));
    EXPECT_EQ(line(), "left over");

    console->setIOInterface(this);
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
    const zu::Timer sinceStart;
    restart();
    console->clear();
    ASSERT_TRUE(waitUntil([this] {
        console->update();
        return !files.contents.empty();
    }));
    EXPECT_GT(sinceStart.getElapsed(), 1.0);
}

TEST_F(ConsoleTest, IsNotTheInstanceWhenItsCacheIsDamaged)
{
    files.contents["./consolecache.bin"] = "damaged";
    EXPECT_EQ(dm::Console::getInstance(), console.get());
    console.reset();
    EXPECT_THROW(dm::Console(&shapes, 0.02f), zu::StreamException);
    EXPECT_EQ(dm::Console::getInstance(), nullptr);
}

} // namespace
