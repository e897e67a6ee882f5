#include "tools/monitor/web/WebMonitor.h"

#include "support/WaitUntil.h"
#include "tools/monitor/web/PageFiles.h"

#include <algorithm>
#include <atomic>
#include <future>
#include <gmock/gmock.h>
#include <httplib.h>
#include <nlohmann/json.hpp>

using monitor::EventHistory;
using monitor::MonitorEvent;
using monitor::WebMonitor;
using monitor::WebOptions;
using nlohmann::json;
using testing::HasSubstr;

namespace {

MonitorEvent makeText(const std::string& text, int channel = 0)
{
    MonitorEvent event;
    event.channel = channel;
    event.text = text;
    event.time = std::chrono::milliseconds(1500);
    return event;
}

MonitorEvent makeValue(const std::string& name, const std::string& text)
{
    MonitorEvent event;
    event.kind = MonitorEvent::Kind::Value;
    event.group = 1;
    event.name = name;
    event.text = text;
    return event;
}

// One thread that drew for 400 ticks of a microsecond, within a frame.
MonitorEvent makeProfile()
{
    MonitorEvent event;
    event.kind = MonitorEvent::Kind::Profile;
    event.profile = std::make_shared<const std::vector<zu::u8>>(std::initializer_list<zu::u8>{
        0x01, 0xC0, 0x84, 0x3D, 0xB4, 0x10, 0x02, 0x05, 'f',  'r',  'a',  'm',  'e',  0x04, 'd',
        'r',  'a',  'w',  0x01, 0x07, 0x00, 0x04, 'm',  'a',  'i',  'n',  0xD0, 0x0F, 0x03, 0x01,
        0x00, 0xB6, 0x07, 0x00, 0x02, 0xF4, 0x03, 0x90, 0x03, 0x01, 0x00, 0xF4, 0x03});
    return event;
}

json waitFor(EventHistory& history, zu::u64 from, zu::u64* outNext = nullptr)
{
    const auto batch = history.waitFor(from, {}, EventHistory::Clock::now() + support::kLongLimit);
    if (outNext)
        *outNext = batch.next;
    return json::parse(batch.json);
}

// An open event stream, as a page has one.
class Stream
{
public:
    Stream(int port, const std::string& path, const httplib::Headers& headers = {})
        : client("127.0.0.1", port)
    {
        client.set_read_timeout(support::kLongLimit);
        done = std::async(std::launch::async, [this, path, headers] {
            const auto result =
                client.Get(path, headers, [this](const char* bytes, std::size_t size) {
                    std::lock_guard guard(lock);
                    received.append(bytes, size);
                    return !closing;
                });
            status = result ? result->status : 0;
        });
    }
    ~Stream() { close(); }

    bool receives(const std::string& expected)
    {
        return support::waitUntil([&] {
            std::lock_guard guard(lock);
            return received.find(expected) != std::string::npos;
        });
    }
    std::string all()
    {
        std::lock_guard guard(lock);
        return received;
    }
    int waitForStatus() { return done.get(), status.load(); }
    void close()
    {
        closing = true;
        client.stop();
    }

private:
    std::mutex lock;
    std::string received; // under lock
    std::atomic<bool> closing{false};
    std::atomic<int> status{0};
    httplib::Client client;
    std::future<void> done; // last: its destructor waits
};

// A connection that says what it is told to, and need not say all of a request.
class RawClient
{
public:
    explicit RawClient(int port)
    {
        auto error = httplib::Error::Success;
        connection = httplib::detail::create_client_socket("127.0.0.1", "", port, 0, true, nullptr,
                                                           30, 0, 30, 0, 30, 0, "", error);
    }
    ~RawClient() { httplib::detail::close_socket(connection); }

    bool send(const std::string& bytes)
    {
        return httplib::detail::send_socket(connection, bytes.data(), bytes.size(), MSG_NOSIGNAL) >
               0;
    }

private:
    socket_t connection;
};

class WebMonitorTest : public ::testing::Test
{
protected:
    WebMonitorTest() { web = std::make_unique<WebMonitor>(options()); }

    WebOptions options(int port = 0)
    {
        return {.port = port,
                .source = "game",
                .request =
                    [this](int number) {
                        std::lock_guard guard(lock);
                        commands.push_back(std::to_string(number));
                        return isConnected;
                    },
                .sendData =
                    [this](std::string data) {
                        std::lock_guard guard(lock);
                        commands.push_back(std::move(data));
                        return isConnected;
                    }};
    }

    // Of a URL without the last part, "" for the page itself.
    std::string path(const std::string& name = "") const
    {
        const std::string url = web->url();
        return url.substr(url.find('/', 7)) + name;
    }

    int get(const std::string& wholePath, const httplib::Headers& headers = {})
    {
        httplib::Client client("127.0.0.1", web->port());
        const auto result = client.Get(wholePath, headers);
        return result ? result->status : 0;
    }

    int post(const std::string& name, const std::string& body = "",
             const httplib::Headers& headers = {})
    {
        httplib::Client client("127.0.0.1", web->port());
        const auto result = client.Post(path(name), headers, body, "text/plain");
        return result ? result->status : 0;
    }

    void print(const std::string& text)
    {
        const MonitorEvent event = makeText(text);
        web->take({&event, 1});
    }

    std::mutex lock;
    std::vector<std::string> commands; // under lock
    bool isConnected = true;
    std::unique_ptr<WebMonitor> web;
};

} // namespace

TEST(EventHistory, TellsEachKindAndSurvivesAnyBytes)
{
    EventHistory history;
    MonitorEvent connected = makeText("127.0.0.1:1");
    connected.kind = MonitorEvent::Kind::Connected;
    connected.wallClock = std::chrono::milliseconds(7);
    const MonitorEvent events[] = {connected, makeText("</script>\xFF\n", -3), makeValue("ms", "2"),
                                   makeProfile(), makeText(std::string(10000, 'x'))};
    history.take(events);

    const json told = waitFor(history, 0);
    EXPECT_EQ(told[0], json::parse(R"(["connected",1.5,7,"127.0.0.1:1"])"));
    EXPECT_EQ(told[1], json::parse(R"(["text",1.5,-3,"</script>\ufffd\n"])"));
    EXPECT_EQ(told[2], json::parse(R"(["value",0.0,1,"Engine Statistics","ms","2"])"));
    EXPECT_EQ(told[3], json::parse(R"(["profile",0.0,3])"));
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
    for (int i = 0; i < 1000; ++i) {
        const MonitorEvent line = makeText("line " + std::to_string(i));
        history.take({&line, 1});
    }
    history.take({&values[2], 1});

    zu::u64 next = 0;
    const json told = waitFor(history, 0, &next);
    EXPECT_EQ(next, 1004u);
    EXPECT_EQ(told[0][0], "skipped");
    EXPECT_EQ(told[1][5], "2"); // "new" is among the events that are still there
    EXPECT_EQ(told.back()[4], "new");
    EXPECT_EQ(told[0][1].get<std::size_t>() + told.size() - 2, 1004u);
    EXPECT_GT(told.size(), 50u);
    EXPECT_LT(told.size(), 110u);
}

TEST(ProfileToPageJson, HasTimesFromTheEarliestOn)
{
    const json profile = json::parse(monitor::profileToPageJson(*makeProfile().profile));
    EXPECT_EQ(profile["names"], json::parse(R"(["frame","draw"])"));
    EXPECT_EQ(profile["microseconds"], 1000.0);
    const json& thread = profile["threads"][0];
    EXPECT_EQ(thread["name"], "main");
    EXPECT_EQ(thread["zones"], json::parse("[0,0,50.0,950.0, 1,1,100.0,400.0]"));
    EXPECT_EQ(thread["frames"], json::parse("[0.0]"));
    EXPECT_EQ(monitor::profileToPageJson({1, 2, 3}), "");
}

TEST(PageFiles, NeedNothingFromElsewhereAndInsertTextAsText)
{
    EXPECT_EQ(monitor::pageFiles().size(), 9u);
    for (const monitor::PageFile& file : monitor::pageFiles()) {
        EXPECT_EQ(file.text.find("://"), std::string_view::npos) << file.name;
        for (const char* const sink :
             {"innerHTML", "outerHTML", "insertAdjacent", "write(", "eval("})
            EXPECT_EQ(file.text.find(sink), std::string_view::npos) << file.name << " " << sink;
        // In a saved page it would hide the end of a script.
        EXPECT_EQ(file.text.find("<!--"), std::string_view::npos) << file.name;
    }
}

TEST_F(WebMonitorTest, ServesThePageToWhoeverKnowsTheToken)
{
    httplib::Client client("127.0.0.1", web->port());
    const auto page = client.Get(path());
    ASSERT_TRUE(page);
    EXPECT_EQ(page->status, 200);
    EXPECT_THAT(page->body, HasSubstr("<title>dm watch</title>"));
    EXPECT_THAT(page->get_header_value("Content-Security-Policy"),
                HasSubstr("default-src 'none'; script-src 'self'"));
    EXPECT_EQ(page->get_header_value("Cache-Control"), "no-store");

    EXPECT_EQ(get("/"), 403);
    EXPECT_EQ(get("/app.js"), 403);
    std::string wrong = path("app.js");
    wrong[5] = wrong[5] == '0' ? '1' : '0';
    EXPECT_EQ(get(wrong), 403);
    EXPECT_EQ(get(path("app.js")), 200);
    EXPECT_EQ(get(path("../../etc/passwd")), 404);
}

TEST_F(WebMonitorTest, RefusesOtherNamesAndOtherPages)
{
    const std::string port = std::to_string(web->port());
    EXPECT_EQ(get(path(), {{"Host", "localhost:" + port}}), 200);
    for (const std::string& host : {"attacker.example:" + port, std::string("127.0.0.1"),
                                    "127.0.0.1:" + port + ".attacker.example"})
        EXPECT_EQ(get(path(), {{"Host", host}}), 403) << host;
    EXPECT_EQ(get(path("events"), {{"Host", "attacker.example:" + port}}), 403);

    EXPECT_EQ(post("request/1", "", {{"Origin", "http://127.0.0.1:" + port}}), 204);
    for (const std::string& origin : {std::string("null"), std::string("http://attacker.example"),
                                      "https://127.0.0.1:" + port, "http://localhost:" + port})
        EXPECT_EQ(post("request/2", "", {{"Origin", origin}}), 403) << origin;
    EXPECT_THAT(commands, testing::ElementsAre("1"));
}

TEST_F(WebMonitorTest, SendsCommandsWithinTheirLimits)
{
    EXPECT_EQ(post("request/0"), 204);
    EXPECT_EQ(post("request/3"), 404);
    EXPECT_EQ(post("request/-1"), 404);
    EXPECT_EQ(get(path("request/0")), 404);
    EXPECT_EQ(post("data", "reload"), 204);
    EXPECT_EQ(post("data", std::string("a\0b", 3)), 400);
    EXPECT_EQ(post("data", std::string(WebMonitor::kMaxDataBytes + 1, 'x')), 413);
    EXPECT_THAT(commands, testing::ElementsAre("0", "reload"));
    isConnected = false;
    EXPECT_EQ(post("request/2"), 409);
}

TEST_F(WebMonitorTest, GivesProfilesAndTraces)
{
    const MonitorEvent event = makeProfile();
    web->take({&event, 1});
    httplib::Client client("127.0.0.1", web->port());
    EXPECT_EQ(json::parse(client.Get(path("profile/0"))->body)["threads"].size(), 1u);
    EXPECT_TRUE(json::parse(client.Get(path("trace/0"))->body).contains("traceEvents"));
    EXPECT_EQ(get(path("profile/1")), 404);
    EXPECT_EQ(get(path("profile/999999999999999999999")), 404);
}

TEST_F(WebMonitorTest, StreamsEventsAndGoesOnWhereAPageWas)
{
    print("one");
    Stream stream(web->port(), path("events"));
    EXPECT_TRUE(stream.receives("\"source\":\"game\""));
    EXPECT_TRUE(stream.receives("id: 1\ndata: [[\"text\",1.500,0,\"one\"]]\n\n"));
    print("two");
    EXPECT_TRUE(stream.receives("id: 2\ndata: [[\"text\",1.500,0,\"two\"]]\n\n"));

    Stream again(web->port(), path("events?from=0"), {{"Last-Event-ID", "1"}});
    Stream byHand(web->port(), path("events?from=1"));
    for (Stream* later : {&again, &byHand}) {
        EXPECT_TRUE(later->receives("two"));
        EXPECT_EQ(later->all().find("one"), std::string::npos);
    }
}

TEST_F(WebMonitorTest, LimitsTheStreamsAndStillServes)
{
    std::vector<std::unique_ptr<Stream>> streams;
    for (int i = 0; i < WebMonitor::kMaxPages; ++i) {
        streams.push_back(std::make_unique<Stream>(web->port(), path("events")));
        ASSERT_TRUE(streams.back()->receives("hello"));
    }
    EXPECT_EQ(Stream(web->port(), path("events")).waitForStatus(), 503);
    EXPECT_EQ(get(path()), 200);

    // A page that was closed makes room although the game is silent.
    streams.pop_back();
    const auto isServed = [&] {
        std::string received;
        httplib::Client client("127.0.0.1", web->port());
        client.Get(path("events"), [&](const char* bytes, std::size_t size) {
            received.assign(bytes, size);
            return false;
        });
        return received.starts_with("retry");
    };
    EXPECT_TRUE(support::waitUntil(isServed));
}

TEST_F(WebMonitorTest, SharesItsPortWithNobody)
{
    const int port = web->port();
    EXPECT_THROW(WebMonitor(options(port)), std::runtime_error);
    {
        Stream stream(port, path("events"));
        EXPECT_TRUE(stream.receives("hello"));
        web.reset(); // with connections of this port left behind
    }
    web = std::make_unique<WebMonitor>(options(port));
    EXPECT_EQ(get(path()), 200);
}

TEST_F(WebMonitorTest, ServesBesidesConnectionsThatSayNothing)
{
    std::vector<std::unique_ptr<RawClient>> silent;
    for (int i = 0; i < 40; ++i)
        silent.push_back(std::make_unique<RawClient>(web->port()));
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(get(path()), 200);
    // Each in its turn would take five seconds.
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(8));
}

TEST_F(WebMonitorTest, HangsUpOnRequestsThatDoNotEnd)
{
    const std::string host = "Host: 127.0.0.1:" + std::to_string(web->port()) + "\r\n";
    const std::string chunk = "4000\r\n" + std::string(0x4000, 'x') + "\r\n";
    const std::string header = "A: " + std::string(8000, 'x') + "\r\n";
    const std::pair<std::string, std::string> endless[] = {
        {"", std::string(4096, 'x')},
        {"GET " + path() + " HTTP/1.1\r\n" + host, header},
        {"POST " + path("data") + " HTTP/1.1\r\n" + host + "Transfer-Encoding: chunked\r\n\r\n",
         chunk}};
    for (const auto& [begin, more] : endless) {
        RawClient client(web->port());
        client.send(begin);
        EXPECT_TRUE(support::waitUntil([&, &rest = more] { return !client.send(rest); }));
    }
    EXPECT_EQ(post("data", std::string(WebMonitor::kMaxDataBytes, 'x')), 204);
    EXPECT_EQ(commands.size(), 1u);
}

TEST_F(WebMonitorTest, EndsSoonWhateverIsConnected)
{
    Stream stream(web->port(), path("events"));
    ASSERT_TRUE(stream.receives("hello"));
    RawClient unread(web->port()); // asks, and takes nothing of the answer
    unread.send("GET " + path("events") +
                " HTTP/1.1\r\nHost: 127.0.0.1:" + std::to_string(web->port()) + "\r\n\r\n");
    for (int i = 0; i < 1000; ++i)
        print(std::string(4000, 'x'));

    std::atomic<bool> ends{false};
    std::vector<std::unique_ptr<RawClient>> slow;
    for (int i = 0; i < 40; ++i)
        slow.push_back(std::make_unique<RawClient>(web->port()));
    auto trickle = std::async(std::launch::async, [&] {
        while (!ends)
            for (const auto& client : slow)
                client->send("G");
    });
    const auto start = std::chrono::steady_clock::now();
    web.reset();
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
    ends = true;
}
