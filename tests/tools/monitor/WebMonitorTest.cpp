#include "tools/monitor/web/WebMonitor.h"

#include "support/ScriptedPeer.h"
#include "support/SourceTree.h"
#include "support/WaitUntil.h"
#include "tools/monitor/Events.h"
#include "tools/monitor/web/PageFiles.h"

#include <future>
#include <gmock/gmock.h>
#include <httplib.h>
#include <nlohmann/json.hpp>

using monitor::EventHistory;
using monitor::MonitorEvent;
using monitor::WebMonitor;
using nlohmann::json;
using support::ScriptedPeer;
using testing::ElementsAre;
using testing::HasSubstr;

namespace {

MonitorEvent makeValue(const std::string& name, const std::string& text)
{
    return eventOf(Kind::Value, text, name);
}

// One thread that drew for 400 ticks of a microsecond, within a frame.
MonitorEvent makeProfile()
{
    return eventOf(Kind::Profile, support::documentedFrames("monitor.md")["Profile"]);
}

class WebMonitorTest : public ::testing::Test
{
protected:
    void serve(int port = 0)
    {
        const auto note = [this](const std::string& command) {
            std::lock_guard guard(lock);
            commands.push_back(command);
            return isConnected;
        };
        web = std::make_unique<WebMonitor>(monitor::WebOptions{
            .port = port,
            .source = "game",
            .request = [note](int number) { return note(std::to_string(number)); },
            .sendData = note});
        host = "127.0.0.1:" + std::to_string(web->port());
    }
    WebMonitorTest() { serve(); }

    // Of a URL without the last part, "" for the page itself.
    std::string path(const std::string& name = "") const
    {
        return web->url().substr(7 + host.size()) + name;
    }

    httplib::Result fetch(const std::string& wholePath, const httplib::Headers& headers = {}) const
    {
        return httplib::Client(host).Get(wholePath, headers);
    }
    static int statusOf(const httplib::Result& result) { return result ? result->status : 0; }
    int get(const std::string& wholePath, const httplib::Headers& headers = {}) const
    {
        return statusOf(fetch(wholePath, headers));
    }
    int post(const std::string& name, const std::string& body = "",
             const httplib::Headers& headers = {}) const
    {
        return statusOf(httplib::Client(host).Post(path(name), headers, body, "text/plain"));
    }

    // A connection that has said this, and need not say all of a request or take the answer.
    ScriptedPeer connect(const std::string& bytes = "") const
    {
        ScriptedPeer peer = ScriptedPeer::connectTo(static_cast<zu::u32>(web->port()));
        peer.sendRaw(bytes);
        return peer;
    }
    std::vector<ScriptedPeer> connectMany() const
    {
        std::vector<ScriptedPeer> peers;
        for (int i = 0; i < 40; ++i)
            peers.push_back(connect());
        return peers;
    }
    std::string begin(const std::string& request) const
    {
        return request + " HTTP/1.1\r\nHost: " + host + "\r\n";
    }

    // The stream of events that a page opens.
    ScriptedPeer openStream(const std::string& query = "", const std::string& headers = "") const
    {
        return connect(begin("GET " + path("events") + query) + headers + "\r\n");
    }

    void print(const std::string& text)
    {
        const MonitorEvent event = textEvent(text);
        web->take({&event, 1});
    }

    std::mutex lock;
    std::vector<std::string> commands; // under lock
    bool isConnected = true;
    std::unique_ptr<WebMonitor> web;
    std::string host;
};

} // namespace

TEST(EventHistory, TellsEachKindAndSurvivesAnyBytes)
{
    EventHistory history;
    const MonitorEvent events[] = {eventOf(Kind::Connected, "127.0.0.1:1"),
                                   textEvent("</script>\xFF\n"), makeValue("ms", "2"),
                                   makeProfile(), textEvent(std::string(10000, 'x'))};
    history.take(events);
    const json told = json::parse(history.waitFor(0, {}, {}).json);
    EXPECT_EQ(told[0], json::parse(R"(["connected",0.2,1795288000000,"127.0.0.1:1"])"));
    EXPECT_EQ(told[1], json::parse(R"(["text",0.2,2,"</script>\ufffd\n"])"));
    EXPECT_EQ(told[2], json::parse(R"(["value",0.2,1,"Engine Statistics","ms","2"])"));
    EXPECT_EQ(told[3], json::parse(R"(["profile",0.2,3])"));
    EXPECT_EQ(told[4][3].get<std::string>().size(), EventHistory::kMaxTextBytes);
    EXPECT_NE(history.profile(3), nullptr);
    EXPECT_EQ(history.profile(2), nullptr);
}

TEST(EventHistory, TellsWhoeverIsLateWhatIsMissingAndHowThingsStand)
{
    EventHistory history(10000);
    const MonitorEvent values[] = {makeValue("old", "1"), makeValue("old", "2"),
                                   makeValue("new", "1")};
    history.take(values);
    history.take(std::vector(1000, textEvent("a line")));
    history.take({&values[2], 1});

    const EventHistory::Batch batch = history.waitFor(0, {}, {});
    const json told = json::parse(batch.json);
    EXPECT_EQ(batch.next, 1004u);
    EXPECT_EQ(told[0][0], "skipped");
    EXPECT_EQ(told[1][5], "2"); // "new" is among the events that are still there
    EXPECT_EQ(told.back()[4], "new");
    EXPECT_EQ(told[0][1].get<std::size_t>() + told.size() - 2, 1004u);
    EXPECT_TRUE(told.size() > 50 && told.size() < 110) << told.size();
}

TEST(ProfileToPageJson, HasTimesFromTheEarliestOn)
{
    EXPECT_EQ(json::parse(monitor::profileToPageJson(*makeProfile().profile)),
              json::parse(R"({"names": ["frame","draw"], "microseconds": 1000.0,
                  "threads": [{"name": "main", "id": 7, "ended": false,
                      "zones": [0,0,50.0,950.0, 1,1,100.0,400.0], "frames": [0.0]}]})"));
    EXPECT_EQ(monitor::profileToPageJson({1, 2, 3}), "");
}

TEST(PageFiles, NeedNothingFromElsewhereAndInsertTextAsText)
{
    EXPECT_EQ(monitor::pageFiles().size(), 9u);
    for (const monitor::PageFile& file : monitor::pageFiles()) {
        // In a saved page "<!--" would hide the end of a script.
        for (const char* const bad :
             {"://", "innerHTML", "outerHTML", "insertAdjacent", "write(", "eval(", "<!--"})
            EXPECT_EQ(file.text.find(bad), std::string_view::npos) << file.name << " " << bad;
    }
}

TEST_F(WebMonitorTest, ServesThePageToWhoeverKnowsTheToken)
{
    const auto page = fetch(path());
    ASSERT_EQ(statusOf(page), 200);
    EXPECT_THAT(page->body, HasSubstr("<title>dm watch</title>"));
    EXPECT_THAT(page->get_header_value("Content-Security-Policy"),
                HasSubstr("default-src 'none'; script-src 'self'"));
    EXPECT_EQ(page->get_header_value("Cache-Control"), "no-store");

    std::string wrong = path("app.js");
    wrong[5] = wrong[5] == '0' ? '1' : '0';
    for (const std::string& refused : {std::string("/"), std::string("/app.js"), wrong})
        EXPECT_EQ(get(refused), 403) << refused;
    EXPECT_EQ(get(path("app.js")), 200);
    EXPECT_EQ(get(path("../../etc/passwd")), 404);
}

TEST_F(WebMonitorTest, RefusesOtherNamesAndOtherPages)
{
    const std::string port = std::to_string(web->port());
    EXPECT_EQ(get(path(), {{"Host", "localhost:" + port}}), 200);
    for (const std::string& name :
         {"attacker.example:" + port, std::string("127.0.0.1"), host + ".attacker.example"})
        for (const char* const file : {"", "events"})
            EXPECT_EQ(get(path(file), {{"Host", name}}), 403) << name;

    EXPECT_EQ(post("request/1", "", {{"Origin", "http://" + host}}), 204);
    for (const std::string& origin : {std::string("null"), std::string("http://attacker.example"),
                                      "https://" + host, "http://localhost:" + port})
        EXPECT_EQ(post("request/2", "", {{"Origin", origin}}), 403) << origin;
    EXPECT_THAT(commands, ElementsAre("1"));
}

TEST_F(WebMonitorTest, SendsCommandsWithinTheirLimits)
{
    EXPECT_EQ(post("request/0"), 204);
    for (const char* const none : {"request/3", "request/-1"})
        EXPECT_EQ(post(none), 404);
    EXPECT_EQ(get(path("request/0")), 404);
    EXPECT_EQ(post("data", "reload"), 204);
    EXPECT_EQ(post("data", std::string("a\0b", 3)), 400);
    EXPECT_EQ(post("data", std::string(WebMonitor::kMaxDataBytes + 1, 'x')), 413);
    EXPECT_THAT(commands, ElementsAre("0", "reload"));
    isConnected = false;
    EXPECT_EQ(post("request/2"), 409);
}

TEST_F(WebMonitorTest, GivesProfilesAndTraces)
{
    const MonitorEvent event = makeProfile();
    web->take({&event, 1});
    EXPECT_EQ(json::parse(fetch(path("profile/0"))->body)["threads"].size(), 1u);
    EXPECT_TRUE(json::parse(fetch(path("trace/0"))->body).contains("traceEvents"));
    EXPECT_EQ(get(path("profile/1")), 404);
    EXPECT_EQ(get(path("profile/999999999999999999999")), 404);
}

TEST_F(WebMonitorTest, StreamsEventsAndGoesOnWhereAPageWas)
{
    print("one");
    ScriptedPeer stream = openStream();
    EXPECT_THAT(stream.readUntil("id: 1\n"), HasSubstr("\"source\":\"game\""));
    stream.readUntil("data: [[\"text\",0.200,2,\"one\"]]\n\n");
    print("two");
    stream.readUntil("id: 2\ndata: [[\"text\",0.200,2,\"two\"]]\n\n");
    for (const auto& [query, headers] :
         {std::pair("?from=0", "Last-Event-ID: 1\r\n"), std::pair("?from=1", "")})
        EXPECT_THAT(openStream(query, headers).readUntil("two"),
                    testing::Not(HasSubstr("\"one\"")));
}

TEST_F(WebMonitorTest, LimitsTheStreamsAndStillServes)
{
    std::vector<ScriptedPeer> streams;
    for (int i = 0; i < WebMonitor::kMaxPages; ++i) {
        streams.push_back(openStream());
        streams.back().readUntil("hello");
    }
    const auto statusLine = [&] { return openStream().readUntil("\r\n"); };
    EXPECT_THAT(statusLine(), HasSubstr(" 503 "));
    EXPECT_EQ(get(path()), 200);
    // A page that was closed makes room although the game is silent.
    streams.pop_back();
    EXPECT_TRUE(
        support::waitUntil([&] { return statusLine().find(" 200 ") != std::string::npos; }));
}

TEST_F(WebMonitorTest, SharesItsPortWithNobody)
{
    const int port = web->port();
    EXPECT_THROW(serve(port), std::runtime_error);
    ScriptedPeer stream = openStream();
    stream.readUntil("hello");
    web.reset(); // with connections of this port left behind
    stream.close();
    serve(port);
    EXPECT_EQ(get(path()), 200);
}

TEST_F(WebMonitorTest, ServesBesidesConnectionsThatSayNothing)
{
    const std::vector<ScriptedPeer> silent = connectMany();
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(get(path()), 200);
    // Each in its turn would take five seconds.
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(8));
}

TEST_F(WebMonitorTest, HangsUpOnRequestsThatDoNotEnd)
{
    const std::pair<std::string, std::string> endless[] = {
        {"", std::string(4096, 'x')},
        {begin("GET " + path()), "A: " + std::string(8000, 'x') + "\r\n"},
        {begin("POST " + path("data")) + "Transfer-Encoding: chunked\r\n\r\n",
         "4000\r\n" + std::string(0x4000, 'x') + "\r\n"}};
    for (const auto& [bytes, more] : endless) {
        ScriptedPeer client = connect(bytes);
        EXPECT_TRUE(support::waitUntil([&, &rest = more] { return !client.sendRaw(rest); }));
    }
    EXPECT_EQ(post("data", std::string(WebMonitor::kMaxDataBytes, 'x')), 204);
    EXPECT_EQ(commands.size(), 1u);
}

TEST_F(WebMonitorTest, EndsSoonWhateverIsConnected)
{
    ScriptedPeer stream = openStream();
    stream.readUntil("hello");
    const ScriptedPeer unread = openStream(); // takes nothing of the answer
    for (int i = 0; i < 1000; ++i)
        print(std::string(4000, 'x'));

    std::atomic<bool> ends{false};
    std::vector<ScriptedPeer> slow = connectMany();
    auto trickle = std::async(std::launch::async, [&] {
        while (!ends)
            for (ScriptedPeer& client : slow)
                client.sendRaw("G");
    });
    const auto start = std::chrono::steady_clock::now();
    web.reset();
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
    ends = true;
}
