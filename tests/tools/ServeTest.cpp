#include "support/Sanitized.h"
#include "tools/ServeFixture.h"

namespace {

using namespace std::chrono_literals;
using namespace support;
using Serve = ServeFixture;

// Far more than the two ends and the system between them keep.
constexpr size_t kLongBytes = 24 << 20;

/// Bytes that differ from place to place, made faster than someBytes.
std::string manyBytes(size_t count)
{
    const std::string part = someBytes(1000003);
    std::string all;
    while (all.size() < count)
        all += part;
    all.resize(count);
    return all;
}

size_t countEntries(const std::string& folderPath)
{
    const std::filesystem::directory_iterator entries(folderPath);
    return static_cast<size_t>(std::distance(begin(entries), end(entries)));
}

TEST_F(Serve, GamesThatStandStillDelayNobody)
{
    const std::string content = manyBytes(kLongBytes);
    write("data/long", content);
    serve();
    const auto games = {come("first"), come("second")};
    const Child stopped = start({"call", address, "fileserver", "read 0 2147483647 \"data/long\"",
                                 "--timeout", "60s", "--out", path("copy")});
    expectLine({"\"dm\" came"});
    stopped->pause();
    ScriptedPeer silent = stall("data/long");
    for (int times = 0; times < 100; ++times)
        for (dm::CommunicationPipe* game : games)
            ASSERT_EQ(ask(game, "fileExists \"data/a.txt\""), "true");
    stopped->resume();
    EXPECT_EQ(stopped->wait(), 0) << stopped->readErrorRest();
    EXPECT_TRUE(read("copy") == content);
    EXPECT_EQ(silent.expect(WireMessage::Response).total, kLongBytes); // not dropped either
}

TEST_F(Serve, GamesThatLeaveInTheMiddleLeaveNothingBehind)
{
    write("data/long", std::string(kLongBytes, 'x'));
    serve();
    const std::string process = "/proc/" + std::to_string(server->id());
    const auto resources = [&] {
        return std::pair(countEntries(process + "/task"), countEntries(process + "/fd"));
    };
    const auto atFirst = resources();
    for (int times = 0; times < 3; ++times) {
        ScriptedPeer first = stall("data/long");
        ScriptedPeer second = stall("data/long");
        ScriptedPeer third = comeScripted();
        third.send(piece(request("fileserver", 0, "write 0 8 \"save/half\"", "12345678"), 0, 4));
        ScriptedPeer knocks = ScriptedPeer::connectTo(port); // and never comes
        knocks.expect(WireMessage::Redirect);
    }
    for (int games = 0; games < 9; ++games)
        expectLine({"left"});
    EXPECT_FALSE(std::filesystem::exists(path("save/half")));
    // The sessions of those who never came last longest.
    EXPECT_TRUE(waitUntil([&] { return resources() == atFirst; }));
    server->askForStatus();
    expectErrorLine({"9 games", "6 commands", "6 files read", "0 warnings"});
}

TEST_F(Serve, GamesBeyondTheLimitWaitUntilOneLeaves)
{
    serve({"--max-games", "1"});
    auto* const first = come("first");
    auto* const second = knock("second");
    expectErrorLine({"a game has to wait", "1 already"});
    EXPECT_EQ(ask(first, "fileExists \"data/a.txt\""), "true");
    EXPECT_FALSE(second->isConnected());
    dm::deinitCommunicationManager("first");
    EXPECT_EQ(ask(second, "fileExists \"data/a.txt\""), "true");
}

TEST_F(Serve, WhoDoesNotBelongToASessionIsSentToTheMainPortAndNotHeard)
{
    serve();
    const dm::uint32 session = ScriptedPeer::connectTo(port).expect(WireMessage::Redirect).value;
    ScriptedPeer game = ScriptedPeer::attachTo(session, "fileserver");
    ScriptedPeer visitor = ScriptedPeer::connectTo(session);
    const WireMessage sentTo = visitor.expect(WireMessage::Redirect);
    EXPECT_EQ(sentTo.name, "127.0.0.1");
    EXPECT_EQ(sentTo.value, port);
    visitor.send(openPipe("fileserver")); // would take it
    visitor.send(request("fileserver", 1000000, "createDirectory \"save/visitor\""));
    visitor.expectClosed(); // it stays, so after a while
    game.send(request("fileserver", 0, "directoryExists \"save/visitor\""));
    EXPECT_EQ(game.expect(WireMessage::Response).text, "false");
}

TEST_F(Serve, ARequestWithBytesMissingIsNotActedOn)
{
    serve();
    const auto whole = request("fileserver", 0, "write 0 8 \"save/file\"", "12345678");
    ScriptedPeer begins = comeScripted(); // another request in the middle of the first
    begins.send(piece(whole, 0, 4));
    begins.send(request("fileserver", 1, "fileExists \"save/file\""));
    begins.expectClosed();
    ScriptedPeer ends = comeScripted();
    ends.send(piece(whole, 4, 4));
    ends.expectClosed();
    EXPECT_FALSE(std::filesystem::exists(path("save/file")));
}

TEST_F(Serve, AServerKilledInTheMiddleIsTakenUpByTheNext)
{
    constexpr size_t kBytes = (kSanitized ? 64 : 256) << 20;
    const std::string content = manyBytes(kBytes);
    write("data/long", content);
    serve();
    auto* const reader = come("reader");
    auto* const writer = come("writer");
    const std::string size = std::to_string(kBytes);
    auto reading =
        askAside(reader, "read 0 " + size + " \"data/long\"", "", static_cast<dm::uint32>(kBytes));
    auto writing = askAside(writer, "write 0 " + size + " \"save/long\"", content);
    EXPECT_TRUE(waitUntil([&] {
        return (dm::getTransferProgress(reader).receivedBytes > 0 || isDone(reading, 0ms)) &&
               (dm::getTransferProgress(writer).sentBytes > 0 || isDone(writing, 0ms));
    }));
    server->kill();
    server->wait();
    serve({}, std::to_string(port));
    EXPECT_TRUE(reading.get().data == content);
    EXPECT_EQ(writing.get().text, size);
    EXPECT_TRUE(read("save/long") == content);
    EXPECT_EQ(countEntries(path("save")), 1u);
}

TEST_F(Serve, AnInterruptEndsItWhileGamesStandStill)
{
    write("data/long", std::string(kLongBytes, 'x'));
    serve({"-v"});
    come();
    ScriptedPeer silent = stall("data/long");
    server->interrupt();
    EXPECT_EQ(server->wait(), 0);
    expectLine({"read 0 2147483647 \"data/long\": 25165824 bytes, not sent"});
    const std::string statistics = server->readErrorRest();
    EXPECT_TRUE(hasAll(statistics, {"2 games", "1 command", "1 file read", "game 1 \"game\""}))
        << statistics;
}

TEST_F(Serve, JsonStaysALineAnEventWhateverGamesSay)
{
    const std::string evil = "evil\"\n{\x1b[31m\xff";
    server = startListeningAsJson(serveWords({"-v"}));
    port = static_cast<dm::uint32>(std::stoul(portOf(address)));
    EXPECT_EQ(nextJson(server)["folder"], path("data"));
    EXPECT_TRUE(nextJson(server)["writable"].get<bool>());
    auto* const game = come(evil.c_str());
    EXPECT_EQ(ask(game, "fileExists \"data/" + evil + "\""), "false");
    EXPECT_EQ(ask(game, evil), "false");
    EXPECT_EQ(ask(game, std::string(10000, '\xfe')), "false");
    EXPECT_EQ(ask(game, "write 0 2 \"save/x\""), "0");
    dm::deinitCommunicationManager(evil.c_str());
    Words events;
    while (events.empty() || events.back() != "left") {
        const nlohmann::json event = nextJson(server);
        if (event["event"] != "warning")
            events.push_back(event["event"]);
        ASSERT_LT(event.dump().size(), 10000u);
    }
    EXPECT_EQ(events, (Words{"came", "command", "command", "command", "command", "left"}));
    server->askForStatus();
    const nlohmann::json statistics = nextJson(server);
    EXPECT_EQ(statistics["event"], "statistics");
    EXPECT_EQ(statistics["commands"], 4);
    server->interrupt();
    EXPECT_EQ(server->wait(), 0);
    EXPECT_EQ(server->readErrorRest(), "");
}

TEST_F(Serve, OutputThatNobodyReadsHoldsNobodyUp)
{
    // Standard output and standard error in one, which somebody might read.
    port = unusedPort();
    const std::string pipe = path("unread");
    server = std::make_unique<ChildProcess>(
        Words{"sh", "-c",
              "mkfifo " + pipe + "; exec 3<>" + pipe + "; exec \"$0\" \"$@\" >&3 2>&1"} +
        command(serveWords({"-v"}, std::to_string(port))));
    auto* const game = come();
    for (int times = 0; times < 4000; ++times)
        ASSERT_EQ(ask(game, "fileExists \"data/none" + std::to_string(times) + "\""), "false");
    server->interrupt();
    EXPECT_EQ(server->wait(), 7);
}

TEST_F(Serve, MistakesAreNamed)
{
    serve();
    const std::string here = "a=" + path("data");
    const Words anywhere = {"--map", here, "--port", "0", "--listen"};
    for (const auto& [exitCode, named, words] : std::vector<std::tuple<int, std::string, Words>>{
             {2, "--map", {}},
             {2, "data", {"--map", "data"}},
             {2, "a,b", {"--map", "a,b=/"}},
             {7, path("none"), {"--map", "a=" + path("none")}},
             {2, "A", {"--map", here, "--map", "A=/"}},
             {3, portOf(address), {"--map", here, "--port", portOf(address)}},
             {3, "nowhere:0 (not a num", anywhere + Words{"nowhere"}},
             {3, "192.0.2.1", anywhere + Words{"192.0.2.1"}},
         })
        expectEnd(exitCode, Words{"serve"} + words, named);
    server = start(Words{"serve"} + anywhere + Words{"0.0.0.0"});
    expectErrorLine({"anybody who reaches it can read the maps"});
}

} // namespace
