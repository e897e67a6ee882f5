#include "support/Sanitized.h"
#include "support/WaitUntil.h"
#include "tools/ToolFixture.h"
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
    using Child = std::unique_ptr<ChildProcess>;

    void startGame(const std::string& port = "0")
    {
        game = std::make_unique<ChildProcess>(Words{DM_WATCHED_GAME_PATH, port});
        const std::string line = game->readLine().value_or("");
        address = line.substr(line.rfind(' ') + 1);
        ASSERT_EQ(line, "playing on " + address);
    }

    Child watch(const Words& options)
    {
        return std::make_unique<ChildProcess>(command(Words{"watch", address} + options));
    }

    /// Reads lines until one has this in it, which is returned.
    static std::string await(ChildProcess& child, const std::string& text)
    {
        while (const std::optional<std::string> line = child.readLine())
            if (line->find(text) != std::string::npos)
                return *line;
        ADD_FAILURE() << text << " never came";
        return "";
    }

    static std::string awaitError(ChildProcess& child)
    {
        return child.readErrorLine().value_or("");
    }

    void send(const std::string& data)
    {
        dm({"watch", address, "--send", data, "--duration", "1s"});
    }

    /// Has the game print many lines while the tool stands still, and one more when it runs again;
    /// returns what has then been printed.
    std::string overwhelm(ChildProcess& tool, size_t lines)
    {
        tool.pause();
        send("lines " + std::to_string(lines));
        tool.resume();
        send("lines 1");
        const std::string last = "line " + std::to_string(lines + 1);
        EXPECT_TRUE(
            support::waitUntil([&] { return tool.peekOutput().find(last) != std::string::npos; }));
        tool.interrupt();
        return tool.readRest();
    }

    void record(const std::vector<monitor::MonitorEvent>& events)
    {
        monitor::RecordingWriter(path("recording")).take(events);
    }

    Child game;
};

/// The lines on channel 3 that came, and those that are told to be lost.
struct Counted
{
    size_t arrived = 0;
    size_t lost = 0;

    explicit Counted(const std::string& output)
    {
        std::istringstream lines(output);
        for (std::string line; std::getline(lines, line);) {
            const size_t told = line.find(" lines were lost");
            if (line.find("[3] line ") != line.npos)
                ++arrived;
            else if (told != line.npos)
                lost += std::stoul(line.substr(line.rfind('(', told) + 1));
        }
    }
};

monitor::MonitorEvent eventOf(monitor::MonitorEvent::Kind kind, const std::string& text)
{
    monitor::MonitorEvent event;
    event.kind = kind;
    event.text = text;
    return event;
}

} // namespace

TEST_F(WatchTool, PrintsWantedLinesEscapedAndEndsWithZeroWhenInterrupted)
{
    startGame();
    const Child tool = watch({"--channel", "2", "--channel", "1", "--exclude", "never", "--request",
                              "1", "--send", "say never", "--send", "say evil\x1b[31m\nline"});
    EXPECT_EQ(awaitError(*tool), "dm: connected to " + address);
    EXPECT_THAT(tool->readLine().value_or(""),
                testing::MatchesRegex(" +[0-9.]+ \\[2\\] evil\\\\x1b\\[31m\\\\nline"));
    EXPECT_THAT(await(*tool, "level"), testing::EndsWith(" [1] loading level 2"));
    tool->interrupt();
    EXPECT_EQ(tool->wait(), 0);
    EXPECT_THAT(tool->readRest(), testing::Not(HasSubstr("never")));
}

TEST_F(WatchTool, SaysWhenTheGameGoesAndComesAndWatchesOn)
{
    startGame();
    const Child tool = watch({"--format", "json", "--grep", "^second|^game"});
    EXPECT_EQ(json::parse(tool->readLine().value_or(""))["event"], "connected");
    game->kill();
    await(*tool, "\"lost\"");
    startGame(portOf(address));
    EXPECT_EQ(json::parse(await(*tool, "\"event\":\"connected\""))["address"], address);
    const json line = json::parse(await(*tool, "\"text\":\"second"));
    EXPECT_EQ(line["channel"], 0);
    EXPECT_GT(line["time"], 0);
    EXPECT_GT(line["unixTime"], 1.7e9);
}

TEST_F(WatchTool, PrintsALineForEachChangeOfAValueOnlyIfToldTo)
{
    startGame();
    const Child tool = watch({"--stats", "--format", "json"});
    std::map<std::string, std::string> values;
    while (values.size() < 4 || values["level"] == "1") {
        const json line = json::parse(tool->readLine().value_or("{}"));
        ASSERT_TRUE(line.contains("event"));
        if (line["event"] != "value")
            continue;
        std::string& value = values[line["name"]];
        ASSERT_NE(value, line["value"].get<std::string>()) << line;
        value = line["value"];
        if (line["name"] == "level" && value == "1")
            dm({"watch", address, "--request", "1", "--duration", "300ms"});
    }
    EXPECT_THAT(dm({"watch", address, "--duration", "300ms"}).output,
                testing::Not(HasSubstr("frame")));
}

TEST_F(WatchTool, KeepsATableBelowTheTextOnATerminal)
{
    startGame();
    ChildProcess terminal({"script", "-qefc",
                           std::string(DM_TOOL_PATH) + " watch " + address + " --stats",
                           "/dev/null"},
                          {{"TERM", "xterm"}});
    const auto shows = [&](const char* text) {
        return support::waitUntil(
            [&] { return terminal.peekOutput().find(text) != std::string::npos; });
    };
    EXPECT_TRUE(shows("Engine Statistics\r\n  frame "));
    EXPECT_TRUE(shows("\x1b[7A\r\x1b[J")) << "three groups with four values";
    EXPECT_TRUE(shows("[0] second ")) << "above";
    terminal.interrupt();
}

TEST_F(WatchTool, RecordsWhatCanBeReplayedAfterAKill)
{
    startGame();
    const std::string file = path("recording");
    {
        const Child tool = watch({"--record", file, "--request", "0", "--send", "lines 5000",
                                  "--channel", "3", "--grep", "line 5000$"});
        await(*tool, "line 5000");
        tool->kill();
    }
    const Outcome replayed =
        dm({"watch", "--replay", file, "--channel", "3", "--profile", path("trace.json")});
    EXPECT_EQ(replayed.exitCode, 0) << replayed.errors;
    EXPECT_EQ(std::count(replayed.output.begin(), replayed.output.end(), '\n'), 5000);

    std::filesystem::resize_file(file, std::filesystem::file_size(file) - 1);
    const Outcome cut = dm({"watch", "--replay", file});
    EXPECT_EQ(cut.exitCode, 0);
    EXPECT_THAT(cut.errors, HasSubstr("ends in a record that was cut off"));
    EXPECT_THAT(dm({"watch", address, "--record", file, "--duration", "300ms"}).errors,
                HasSubstr("which is gone now"));
    EXPECT_EQ(dm({"watch", "--replay", file}).errors,
              "dm: connected to " + address + "\ndm: connected to " + address + " again\n");

    std::string bytes = read("recording");
    bytes.back() ^= 1;
    EXPECT_EQ(
        dm({"watch", "--replay", write("damaged", bytes), "--profile", path("rest.json")}).exitCode,
        7);
    EXPECT_TRUE(std::filesystem::exists(path("rest.json"))) << "of what could be read";
    EXPECT_EQ(dm({"watch", "--replay", write("other", "text")}).exitCode, 7);
    EXPECT_EQ(dm({"watch", address, "--record", path("other")}).exitCode, 7);
}

TEST_F(WatchTool, WritesProfilesAsATraceOfNamedThreads)
{
    startGame();
    const Words options = {"watch", address, "--duration", "1s", "--profile", path("trace.json")};
    const Outcome outcome = dm(options + Words{"--request", "0"});
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_THAT(outcome.errors, HasSubstr("dm: wrote "));
    std::set<std::string> threads;
    std::set<std::string> zones;
    const json trace = json::parse(read("trace.json"));
    for (const json& event : trace["traceEvents"]) {
        if (event["name"] == "thread_name")
            threads.insert(event["args"]["name"]);
        if (event["ph"] == "X")
            zones.insert(event["name"]);
    }
    EXPECT_EQ(threads, (std::set<std::string>{"game", "loader", "physics"}));
    EXPECT_TRUE(zones.contains("collide"));

    EXPECT_EQ(dm(options).exitCode, 8) << "none came";
    EXPECT_EQ(filesInFolder(), 1u);
}

TEST_F(WatchTool, CountsTheLinesThatItWasTooSlowFor)
{
    startGame();
    const Child tool = watch({"--channel", "3"});
    awaitError(*tool);
    const size_t printed = support::kSanitized ? 30000 : 1000000;
    const Counted counted(overwhelm(*tool, printed));
    EXPECT_TRUE(counted.lost > 0 || support::kSanitized);
    // Some of the lost ones may have been the line that tells the second.
    EXPECT_GE(counted.arrived + counted.lost, printed + 1);
    EXPECT_LE(counted.arrived + counted.lost, printed + 60);
}

TEST_F(WatchTool, CountsTheLinesThatATerminalDidNotTake)
{
    startGame();
    // script is the terminal: while it stands still, nobody reads what the tool prints.
    ChildProcess terminal({"script", "-qefc",
                           std::string(DM_TOOL_PATH) + " watch " + address + " --stats --channel 3",
                           "/dev/null"},
                          {{"TERM", "xterm"}, {"NO_COLOR", "1"}});
    await(terminal, "Engine Statistics");
    const size_t printed = support::kSanitized ? 30000 : 1000000;
    const Counted counted(overwhelm(terminal, printed));
    EXPECT_TRUE(counted.lost > 0 || support::kSanitized);
    EXPECT_GE(counted.arrived + counted.lost, printed + 1);
    EXPECT_LE(counted.arrived + counted.lost, printed + 60);
}

TEST_F(WatchTool, WaitsForASlowReaderOfAReplay)
{
    constexpr size_t kLines = 25000; // with what is spelled out, more than the tool keeps
    record(std::vector(kLines, eventOf(monitor::MonitorEvent::Kind::Text, std::string(255, 1))));
    const std::string replay = std::string(DM_TOOL_PATH) + " watch --replay " + path("recording");
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
    startGame();
    const std::string watch = std::string(DM_TOOL_PATH) + " watch " + address;
    ChildProcess reader({"bash", "-o", "pipefail", "-c",
                         watch + " --request 0 --profile " + path("trace.json") + " | head -n 1"});
    EXPECT_EQ(reader.wait(), 7);
    EXPECT_TRUE(std::filesystem::exists(path("trace.json")));
}

TEST_F(WatchTool, EndsWithThreeWhereNoMonitorIs)
{
    const Outcome nothing = dm({"watch", "127.0.0.1:1", "--duration", "100ms"});
    EXPECT_EQ(nothing.exitCode, 3);
    EXPECT_THAT(nothing.errors, HasSubstr("cannot connect to 127.0.0.1:1"));

    httplib::Server server;
    const int port = server.bind_to_any_port("127.0.0.1");
    std::thread serving([&] { server.listen_after_bind(); });
    const Outcome web = dm({"watch", "127.0.0.1:" + std::to_string(port), "--send", "\r\n\r\n"});
    EXPECT_EQ(web.exitCode, 3);
    EXPECT_THAT(web.errors, HasSubstr("is no debug monitor"));
    server.stop();
    serving.join();

    listen();
    EXPECT_THAT(dm({"watch", address}).errors, HasSubstr("this is a port for pipes"));
}

TEST_F(WatchTool, ShowsAReplayInAPageUntilItsTimeIsOver)
{
    using Kind = monitor::MonitorEvent::Kind;
    record({eventOf(Kind::NotAMonitor, "another"), eventOf(Kind::Text, "line")});
    const Child tool =
        std::make_unique<ChildProcess>(command({"watch", "--replay", path("recording"), "--web"}));
    const std::string line = awaitError(*tool);
    const size_t begin = line.find("http://");
    ASSERT_NE(begin, line.npos) << line;
    const std::string url = line.substr(begin);
    const size_t slash = url.find('/', 7);
    httplib::Client browser(url.substr(0, slash));
    const auto page = browser.Get(url.substr(slash));
    ASSERT_TRUE(page);
    EXPECT_EQ(page->status, 200);
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
        EXPECT_EQ(dm(Words{"watch"} + wrong).exitCode, 2) << testing::PrintToString(wrong);
}
