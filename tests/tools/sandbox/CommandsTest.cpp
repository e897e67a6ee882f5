#include "tools/sandbox/Commands.h"

#include "support/PipeFixture.h"
#include "support/RecordingShapes.h"
#include "tools/sandbox/Background.h"
#include "tools/sandbox/CommandGroups.h"
#include "tools/sandbox/Pipes.h"
#include "tools/sandbox/Variables.h"
#include "zul/FileFixture.h"

#include <dm/jobs.h>

namespace {

using namespace sandbox;

bool isShort(const std::string& text) { return text.size() < 3; }

/// A console with all commands that need no display.
class CommandsFixture : public FileFixture
{
protected:
    CommandsFixture()
    {
        shapes.isRecording = false;
        variables.addFloat("speed", 0.5f, 0, 10, "How fast.");
        variables.addInt("count", 5, -3, 10, "");
        variables.addText("name", "ab", 8, "", {isShort, "a short name"});
        variables.addBool("Paused", false, "Whether time stands still.");
        background->setImmediate(true);
        addConsoleCommands(commands, variables, console, output);
        addVariableCommands(commands, variables, console, output);
        addFileCommands(commands, *background, output);
        addPipeCommands(commands, pipes, *background, output);
        addProfileCommand(commands, output);
        console.setIOInterface(&commands);
        press(220);
    }

    ~CommandsFixture() override { pipes.close(); }

    /// Enters a line as somebody at the keyboard; returns what was printed.
    std::string enter(const std::string& line)
    {
        output.beginCapture();
        console.setText(zu::InplaceString<128>(line.data(), line.size()));
        press(13);
        return output.endCapture();
    }

    void press(int key, char character = 0)
    {
        console.deliverKeystroke(key, character, false, false, false);
    }

    std::string typed() { return console.getScrollingTextWindow()->getText().c_str(); }

    /// Whether that is so in a while, as the game goes on.
    template <typename Condition>
    bool comes(Condition condition)
    {
        return support::waitUntil([&] {
            background->poll();
            pipes.poll();
            return condition();
        });
    }

    bool hears(const std::string& text, size_t after = 0)
    {
        return comes([&] { return output.hasPrinted(text, after); });
    }

    support::RecordingShapes shapes;
    dm::Console console{&shapes, 0.0625f};
    Output output{console};
    Variables variables;
    Commands commands{console, output};
    Pipes pipes{output, [this](const std::string& line) { return commands.runAndCapture(line); }};
    std::unique_ptr<Background> background =
        std::make_unique<Background>([this](const std::string& what) { output.print(what); });
};

using CommandTable = CommandsFixture;
using ExecCommand = CommandsFixture;
using FileCommands = CommandsFixture;
using PipeCommands = CommandsFixture;

TEST_F(CommandTable, RunsWhatIsEntered)
{
    using Row = std::pair<const char*, const char*>;
    for (const auto& [line, printed] :
         {Row{"  ECHO 100% %s %n ; ;", "100% %s %n\n"},
          Row{"echo( 40 ); echo (a) and (b);", "40\n(a) and (b)\n"},
          Row{"set \"name\" \"; \"; echo \"open", "name = \"; \"\n\"open\n"},
          Row{"set speed 2; GET Speed", "speed = 2\nspeed = 2\n"},
          Row{"speed = 1e0; set speed DEFAULT", "speed = 1\nspeed = 0.5\n"},
          Row{"set count -3; count +7; set count = default", "count = -3\ncount = 7\ncount = 5\n"},
          Row{"toggle paused; set paused No", "Paused = on\nPaused = off\n"},
          Row{"name a; set name \"\"", "name = \"a\"\nname = \"\"\n"},
          Row{"nonsense 1", "\"nonsense\" is neither a command nor a variable; try help\n"},
          Row{"get x", "get: there is no variable \"x\"; get lists them\n"},
          Row{"toggle speed",
              "toggle: speed cannot be toggled: it is a number from 0 to 10, default 0.5\n"},
          Row{"find stands still", "  paused = off              Whether time stands still.\n"}})
        EXPECT_EQ(enter(line), printed);
    using Wrong = std::array<const char*, 3>;
    for (const auto& [variable, values, kind] :
         {Wrong{"speed", "1x nan inf -0.1 10.5 1e99", "a number from 0 to 10, default 0.5"},
          Wrong{"count", "11 1.5 99999999999", "a whole number from -3 to 10, default 5"},
          Wrong{"Paused", "2", "on or off, default off"},
          Wrong{"name", "abc", "a short name, default \"ab\""}})
    {
        for (const std::string& value : parseCommand(std::string("set ") + values).words)
            EXPECT_EQ(enter("set " + (variable + (' ' + value))),
                      "set: " + (variable + (" cannot be \"" + value)) + "\": it is " + kind +
                          '\n');
    }
    EXPECT_EQ(enter("get speed; get count"), "speed = 0.5\ncount = 5\n");
    EXPECT_NE(enter("help").find("  set NAME VALUE"), std::string::npos);
    EXPECT_NE(
        enter("help speed").find("speed = 0.5, a number from 0 to 10, default 0.5\n  How fast."),
        std::string::npos);
    commands.remember("get speed");
    EXPECT_EQ(enter("history"), "  1                         get speed\n");
    for (const auto& [name, command] : commands.all()) {
        EXPECT_FALSE(command.help.empty());
        enter(name); // without arguments each says something or works, and nothing is thrown
    }
}

TEST_F(CommandTable, AliasesThatLoopAreTakenBack)
{
    enter("alias slow set speed 0.5; echo slowly");
    EXPECT_EQ(enter("slow"), "speed = 0.5\nslowly\n");
    for (const std::string name : {"slow", "other"})
        EXPECT_EQ(enter("alias \"" + name + "\" \"echo; " + name + '"'),
                  "alias: ScrollingTextWindow: Resolving alias \"" + name +
                      "\" causes a loop - alias used inside alias\n");
    EXPECT_EQ(enter("aliases"), "  slow                      set speed 0.5; echo slowly\n");
    EXPECT_EQ(enter("unalias \"slow\"; aliases"),
              "\"slow\" stands for itself again\nthere are no aliases\n");
    EXPECT_NE(enter("alias a-b c").find("is no name"), std::string::npos);
}

TEST_F(CommandTable, BoundKeysRunWhileTheConsoleIsHidden)
{
    EXPECT_EQ(enter("bind p toggle paused; echo %d"),
              "p runs this while the console is hidden: toggle paused; echo %d\n");
    EXPECT_NE(enter("bind pq quit").find("is no key"), std::string::npos);
    console.close();
    output.beginCapture();
    press(231, 'p');
    EXPECT_EQ(output.endCapture(), "Paused = on\n%d\n");
    EXPECT_EQ(enter("unbind p; binds"), "p is free again\nnothing is bound\n");
}

TEST_F(ExecCommand, RunsLinesInOrderAndLeavesWhatIsTyped)
{
    const std::string inner = make("inner.cfg", "echo inner\n");
    const std::string outer = make("outer.cfg", "# a comment\n\n  speed 4; exec \"" + inner +
                                                    "\"; echo between\r\necho 100%\n");
    EXPECT_EQ(enter("exec \"" + outer + "\"; echo last"),
              "speed = 4\ninner\nbetween\n100%\nlast\n");
    console.setText("get spe");
    press(37);
    commands.runLine("echo from a tool");
    press(231, '|');
    EXPECT_EQ(typed(), "get sp|e") << "the cursor is where it was";
    using Row = std::pair<const char*, const char*>;
    for (const auto& [begun, completed] : {Row{"get spe", "get speed"}, Row{"togg", "toggle"}}) {
        console.setText(begun);
        press(35);
        press(9);
        EXPECT_EQ(typed(), completed);
    }
    EXPECT_EQ(enter("exec nowhere.cfg; echo on"),
              "exec: Cannot open the file \"nowhere.cfg\" for reading\non\n");
}

TEST_F(ExecCommand, FilesThatRunThemselvesAreStopped)
{
    const std::string itself = "exec \"" + at("loop.cfg") + "\"";
    make("loop.cfg", "echo once\n" + itself + '\n' + itself);
    std::string expected;
    for (int depth = 0; depth < Commands::kMaxDepth; ++depth)
        expected += "once\n";
    EXPECT_EQ(enter(itself), expected + "stopped: files that run files go too deep\n");

    std::ostringstream many;
    std::fill_n(std::ostream_iterator<const char*>(many), Commands::kMaxChain + 1, "paused\n");
    enter("exec \"" + make("many.cfg", many.str()) + '"');
    EXPECT_TRUE(output.hasPrinted("stopped: a file runs too much", 0));
    EXPECT_EQ(enter("echo goes on"), "goes on\n");
}

TEST_F(ExecCommand, OthersWaitForAFileThatIsSlow)
{
    background->setImmediate(false);
    const std::string slow = make("slow.cfg", "echo in the file\n");
    EXPECT_EQ(enter("exec \"" + slow + "\"; echo after it"), "");
    EXPECT_EQ(enter("echo later"), "");
    commands.add(
        {"now", "", "Runs.", [&](const CommandText&) { output.print("now"); }, false, true});
    EXPECT_EQ(enter("now"), "now\n");
    output.beginCapture();
    EXPECT_TRUE(hears("later"));
    EXPECT_EQ(output.endCapture(), "in the file\nafter it\nlater\n");
}

TEST_F(FileCommands, WorkOnTheInstalledFileSystem)
{
    const std::string file = '"' + at("n\xF6 te.txt") + '"'; // Latin-1, as it is typed
    EXPECT_EQ(enter("write " + file + " \"caf\xE9; 100%\""), "wrote 12 bytes\n");
    EXPECT_EQ(enter("cat " + file), "caf\xE9; 100%\n");
    EXPECT_EQ(contentOf("n\xC3\xB6 te.txt"), "caf\xC3\xA9; 100%\n");
    EXPECT_NE(enter("ls \"" + folder.string() + '"').find("n\xF6 te.txt"), std::string::npos);
    EXPECT_EQ(enter("ls /no/such"), "ls: there is no folder \"/no/such\"\n");
    EXPECT_EQ(enter("write /no/such/\xF6 x"),
              "write: Cannot open the file \"/no/such/\xF6\" for writing\n");
    const std::string bytes = make("bytes.bin", std::string("a\0b", 3));
    EXPECT_EQ(enter("cat \"" + bytes + "\"; echo c"), "a?b\nc\n");
    make("tree/b", "de");
    make("tree/a", "abc");
    const size_t before = output.printedCount();
    enter("read \"" + at("tree") + '"');
    EXPECT_TRUE(hears("read 2 files, 5 bytes in ", before));
    EXPECT_TRUE(hears(", sha256 36bbe50ed96841d10443bcb670d6554f0a34b761be67ec9c4a8ad2c0c44ca42c"));
    EXPECT_FALSE(output.hasPrinted("read 2 files", output.printedCount()));
    enter("dump \"" + at("all.txt") + '"');
    EXPECT_NE(contentOf("all.txt").find("\ncaf\xC3\xA9; 100%\n> ls "), std::string::npos);
}

TEST_F(PipeCommands, ToolsRunLinesAndAreCalled)
{
    EXPECT_NE(enter("pipes").find("there are no pipes"), std::string::npos);
    ASSERT_TRUE(pipes.listen(0));
    EXPECT_NE(enter("call console hello").find("nobody is at the other end"), std::string::npos);
    dm::initCommunicationManagerAsClient("tool", "127.0.0.1", static_cast<int>(pipes.getPort()));
    dm::CommunicationPipe* const asking = dm::getCommunicationPipe("tool", "console");
    dm::CommunicationPipe* const answering = dm::getCommunicationPipe("tool", "build");
    ASSERT_TRUE(support::waitUntil([&] {
        return asking->isConnected() && answering->isConnected() && pipes.find("build") &&
               pipes.find("BUILD")->isConnected();
    }));

    auto answer = support::askAside(asking, "set speed 7", "", 256);
    ASSERT_TRUE(comes([&] { return support::isDone(answer, std::chrono::milliseconds(0)); }));
    EXPECT_EQ(answer.get(), (support::Answer{"ok", "speed = 7\n"}));

    asking->sendNotify("hi 100%s", 5);
    EXPECT_TRUE(hears("[console] hi 100%s (5)\n"));

    EXPECT_EQ(enter("call build all of it"), ""); // and the game goes on
    EXPECT_EQ(enter("notify build now"), "sent\n");
    EXPECT_EQ(support::takeRequest(answering), "all of it");
    answering->respond("done", "2 errors", 8);
    EXPECT_TRUE(hears("2 errors\n"));
    EXPECT_NE(output.transcript().find("[build] done (8 bytes)\n2 errors\n"), std::string::npos);

    enter("ping build again 1");
    EXPECT_EQ(support::takeRequest(answering), "again");
    answering->respond("", nullptr, 0);
    EXPECT_TRUE(hears("[build] 1 round trips in "));

    // Ending answers whoever asked for it, and waits for nobody.
    bool isOver = false;
    commands.add({"quit", "", "Ends.", [&](const CommandText&) { isOver = true; }});
    enter("call build and never answered");
    auto last = support::askAside(asking, "quit");
    EXPECT_TRUE(comes([&] { return isOver; }));
    pipes.close();
    background = nullptr;
    ASSERT_TRUE(support::isDone(last));
    EXPECT_EQ(last.get().text, "ok");
    dm::deinitCommunicationManager("tool");
}

TEST_F(PipeCommands, MembersOfAHubRunLinesAndOpenPipes)
{
    EXPECT_NE(enter("open build").find("there are no pipes"), std::string::npos);
    dm::BroadcastServer hub("hub", 0);
    pipes.join("127.0.0.1", hub.getPort());
    enter("open build");
    EXPECT_TRUE(hears("[build] is open"));
    dm::initCommunicationManagerAsClient("tool", "127.0.0.1", hub.getPort());
    dm::CommunicationPipe* const asking = dm::getCommunicationPipe("tool", "console");
    auto answer = support::askAside(asking, "set speed 7");
    EXPECT_TRUE(hears("speed = 7"));
    EXPECT_EQ(answer.get().text, "ok");
    pipes.end();
    dm::deinitCommunicationManagers(); // before the hub goes
}

} // namespace
