#include "support/Sanitized.h"
#include "support/WaitUntil.h"
#include "tools/ToolFixture.h"
#include "tools/monitor/Events.h"
#include "tools/monitor/Recording.h"

#include <gmock/gmock.h>
#include <httplib.h>
#include <map>
#include <set>
#include <sstream>
#include <thread>

using nlohmann::json;
using testing::HasSubstr;

namespace {

/// The watched game in a process of its own, and `dm watch` in others.
class WatchTool : public ToolFixture
{
protected:
    Words words(const Words& options) const { return Words{"watch", address} + options; }
    Child watch(const Words& options) const { return start(words(options)); }

    /// script is a terminal with the tool in it.
    Child watchOnTerminal(const std::string& options) const
    {
        const Words inTerminal = {"script", "-qefc", toolCommand + " " + address + " " + options,
                                  "/dev/null"};
        return std::make_unique<ChildProcess>(
            inTerminal, ChildProcess::Environment{{"TERM", "xterm"}, {"NO_COLOR", "1"}});
    }

    static bool shows(const Child& tool, const std::string& text)
    {
        return support::waitUntil(
            [&] { return tool->peekOutput().find(text) != std::string::npos; });
    }

    /// Has the game print many lines on channel 3 while the tool stands still, and one more when it
    /// runs again: each arrives or is told to be lost.
    void expectAllCounted(const Child& tool) const
    {
        const size_t printed = support::kSanitized ? 30000 : 1000000;
        tool->pause();
        dm(words({"--send", "lines " + std::to_string(printed), "--duration", "1s"}));
        tool->resume();
        dm(words({"--send", "lines 1", "--duration", "1s"}));
        EXPECT_TRUE(shows(tool, "line " + std::to_string(printed + 1)));
        tool->interrupt();
        size_t arrived = 0;
        size_t lost = 0;
        const std::string output = tool->readRest();
        std::istringstream lines(output + tool->readErrorRest());
        for (std::string line; std::getline(lines, line);) {
            const size_t told = line.find(" lines were lost");
            const size_t untaken = line.find(" lines of output are lost"); // this test was too slow
            if (line.find("[3] line ") != line.npos)
                ++arrived;
            else if (told != line.npos)
                lost += std::stoul(line.substr(line.rfind('(', told) + 1));
            else if (untaken != line.npos)
                lost += std::stoul(line.substr(line.rfind(' ', untaken - 1) + 1));
        }
        // Some of the lost ones may have been the line that tells the second.
        EXPECT_GE(arrived + lost, printed + 1);
        EXPECT_LE(arrived + lost, printed + 60);
    }

    void record(const std::vector<monitor::MonitorEvent>& events)
    {
        monitor::RecordingWriter(path("recording")).take(events);
    }

    const std::string toolCommand = std::string(DM_TOOL_PATH) + " watch";
    Child game;
};

} // namespace

TEST_F(WatchTool, PrintsWantedLinesEscapedAndEndsWithZeroWhenInterrupted)
{
    game = startGame();
    const Child tool = watch({"--channel", "2", "--channel", "1", "--exclude", "never", "--request",
                              "1", "--send", "say never", "--send", "say evil\x1b[31m\nline"});
    EXPECT_EQ(tool->readErrorLine().value_or(""), "dm: connected to " + address);
    EXPECT_THAT(tool->readLine().value_or(""),
                testing::MatchesRegex(" +[0-9.]+ \\[2\\] evil\\\\x1b\\[31m\\\\nline"));
    EXPECT_THAT(await(*tool, {"level"}), testing::EndsWith(" [1] loading level 2"));
    tool->interrupt();
    EXPECT_EQ(tool->wait(), 0);
    EXPECT_THAT(tool->readRest(), testing::Not(HasSubstr("never")));
}

TEST_F(WatchTool, SaysWhenTheGameGoesAndComesAndWatchesOn)
{
    game = startGame();
    const Child tool = watch({"--format", "json", "--grep", "^second|^game"});
    EXPECT_EQ(nextJson(tool)["event"], "connected");
    game->kill();
    await(*tool, {"\"lost\""});
    game = startGame(portOf(address));
    EXPECT_EQ(json::parse(await(*tool, {"\"event\":\"connected\""}))["address"], address);
    const json line = json::parse(await(*tool, {"\"text\":\"second"}));
    EXPECT_EQ(line["channel"], 0);
    EXPECT_GT(line["time"], 0);
    EXPECT_GT(line["unixTime"], 1.7e9);
}

TEST_F(WatchTool, PrintsALineForEachChangeOfAValueOnlyIfToldTo)
{
    game = startGame();
    const Child tool = watch({"--stats", "--format", "json"});
    std::map<std::string, std::string> values;
    while (values.size() < 4 || values["level"] == "1") {
        const json line = nextJson(tool);
        if (line["event"] != "value")
            continue;
        std::string& value = values[line["name"]];
        ASSERT_NE(value, line["value"].get<std::string>()) << line;
        value = line["value"];
        if (line["name"] == "level" && value == "1")
            dm(words({"--request", "1", "--duration", "300ms"}));
    }
    EXPECT_THAT(dm(words({"--duration", "300ms"})).output, testing::Not(HasSubstr("frame")));
}

TEST_F(WatchTool, KeepsATableBelowTheTextOnATerminal)
{
    game = startGame();
    const Child terminal = watchOnTerminal("--stats");
    EXPECT_TRUE(shows(terminal, "Engine Statistics\r\n  frame "));
    EXPECT_TRUE(shows(terminal, "\x1b[7A\r\x1b[J")) << "three groups with four values";
    EXPECT_TRUE(shows(terminal, "[0] second ")) << "above";
    terminal->interrupt();
}

TEST_F(WatchTool, RecordsWhatCanBeReplayedAfterAKill)
{
    game = startGame();
    expectEnd(8, words({"--duration", "300ms", "--profile", path("none.json")})); // none came
    EXPECT_EQ(filesInFolder(), 0u);
    const std::string file = path("recording");
    {
        const Child tool = watch({"--record", file, "--request", "0", "--send", "lines 5000",
                                  "--channel", "3", "--grep", "line 5000$"});
        await(*tool, {"line 5000"});
        tool->kill();
    }
    const Words replay = {"watch", "--replay", file};
    const Outcome replayed = expectEnd(
        0, replay + Words{"--channel", "3", "--profile", path("trace.json")}, "dm: wrote ");
    EXPECT_EQ(std::count(replayed.output.begin(), replayed.output.end(), '\n'), 5000);
    std::set<std::string> inTrace; // threads and zones
    const json trace = json::parse(read("trace.json"));
    for (const json& event : trace["traceEvents"])
        inTrace.insert(event["name"] == "thread_name" ? event["args"]["name"] : event["name"]);
    for (const char* const name : {"game", "loader", "physics", "collide"})
        EXPECT_TRUE(inTrace.contains(name)) << name;

    std::filesystem::resize_file(file, std::filesystem::file_size(file) - 1);
    expectEnd(0, replay, "ends in a record that was cut off");
    {
        const Child again = watch({"--record", file});
        await(*again, {"which is gone now"}, &ChildProcess::readErrorLine);
        await(*again, {"connected"}, &ChildProcess::readErrorLine); // and that is recorded
    }
    EXPECT_EQ(dm(replay).errors,
              "dm: connected to " + address + "\ndm: connected to " + address + " again\n");

    std::string bytes = read("recording");
    bytes.back() ^= 1;
    expectEnd(7, {"watch", "--replay", write("damaged", bytes), "--profile", path("rest.json")});
    EXPECT_TRUE(std::filesystem::exists(path("rest.json"))) << "of what could be read";
    expectEnd(7, {"watch", "--replay", write("other", "text")});
    expectEnd(7, words({"--record", path("other")}));
}

TEST_F(WatchTool, CountsTheLinesThatItOrATerminalWasTooSlowFor)
{
    game = startGame();
    const Child tool = watch({"--channel", "3"});
    tool->readErrorLine();
    expectAllCounted(tool);

    game = startGame();
    // While script stands still, nobody reads what the tool prints.
    const Child terminal = watchOnTerminal("--stats --channel 3");
    EXPECT_TRUE(shows(terminal, "Engine Statistics"));
    expectAllCounted(terminal);
}

TEST_F(WatchTool, WaitsForASlowReaderOfAReplay)
{
    constexpr size_t kLines = 25000; // with what is spelled out, more than the tool keeps
    record(std::vector(kLines, textEvent(std::string(255, 1))));
    const std::string replay = toolCommand + " --replay " + path("recording");
    ChildProcess reader({"sh", "-c", replay + " | { sleep 2; wc -l; }"});
    EXPECT_EQ(reader.readLine(), std::to_string(kLines));
    EXPECT_EQ(reader.readErrorRest(), "");
    // A pipe that nobody reads, but might.
    const std::string stuck = "mkfifo " + path("pipe") + "; exec 3<>" + path("pipe") + "; ";
    EXPECT_EQ(ChildProcess({"sh", "-c", stuck + replay + " --duration 300ms >&3"}).wait(), 7)
        << "but not for longer than it was told to";
}

TEST_F(WatchTool, WritesTheTraceWhenItsReaderGoesAway)
{
    game = startGame();
    const std::string options = " --request 0 --profile " + path("trace.json");
    ChildProcess reader(
        {"bash", "-o", "pipefail", "-c", toolCommand + " " + address + options + " | head -n 1"});
    EXPECT_EQ(reader.wait(), 7);
    EXPECT_TRUE(std::filesystem::exists(path("trace.json")));
}

TEST_F(WatchTool, EndsWithThreeWhereNoMonitorIs)
{
    expectEnd(3, {"watch", "127.0.0.1:1", "--duration", "100ms"}, "cannot connect to 127.0.0.1:1");

    httplib::Server server;
    aimAt(static_cast<unsigned>(server.bind_to_any_port("127.0.0.1")));
    std::thread serving([&] { server.listen_after_bind(); });
    expectEnd(3, words({"--send", "\r\n\r\n"}), "is no debug monitor");
    server.stop();
    serving.join();

    listen();
    expectEnd(3, words({}), "this is a port for pipes");
}

TEST_F(WatchTool, ShowsAReplayInAPageUntilItsTimeIsOver)
{
    record({eventOf(Kind::NotAMonitor, "another"), textEvent("line")});
    const Child tool = start({"watch", "--replay", path("recording"), "--web"});
    const std::string line = tool->readErrorLine().value_or("");
    const size_t begin = line.find("http://");
    ASSERT_NE(begin, line.npos) << line;
    const size_t slash = line.find('/', begin + 7);
    const auto page = httplib::Client(line.substr(begin, slash - begin)).Get(line.substr(slash));
    EXPECT_TRUE(page && page->status == 200);
    tool->interrupt();
    EXPECT_EQ(tool->wait(), 0);
    EXPECT_EQ(tool->readRest(), "") << "lines are in the page";
}

TEST_F(WatchTool, RefusesWhatItCannotUnderstand)
{
    Words tooMany = {"h:1"};
    for (int i = 0; i < 257; ++i)
        tooMany.insert(tooMany.end(), {"--request", "0"});
    for (const Words& wrong :
         {Words{}, Words{"nohost"}, Words{"h:1", "--replay", "x"}, Words{"h:1", "--request", "3"},
          Words{"h:1", "--grep", "("}, Words{"h:1", "--channel", "x"},
          Words{"h:1", "--duration", "5"}, Words{"h:1", "--web", "99999"},
          Words{"h:1", "--send", std::string(65532, 'x')}, Words{"--replay", "x", "--record", "y"},
          Words{"--replay", "x", "--send", "y"}, Words{"--replay", "x", "--profile", "./x"},
          Words{"h:1", "--record", "x", "--profile", "y/../x"}, Words{"h:1", "--record", ""},
          Words{"h:1", "--profile", "-"}, tooMany})
        expectEnd(2, Words{"watch"} + wrong);
}
