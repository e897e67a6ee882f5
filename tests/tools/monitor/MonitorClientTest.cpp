#include "tools/monitor/MonitorClient.h"

#include "support/ScriptedPeer.h"
#include "support/SourceTree.h"
#include "support/WaitUntil.h"
#include "tools/dm/WatchText.h"

#include <dm/monitor.h>

#include <gmock/gmock.h>
#include <mutex>

using monitor::MonitorEvent;
using support::waitUntil;
using testing::ElementsAre;

namespace {

// The test is the game, and what listens on its port.
class MonitorClient : public testing::Test, public dm::DataParserCallback
{
protected:
    ~MonitorClient() override
    {
        client.reset();
        dm::deinit();
        dm::setDataParserCallback(nullptr);
    }

    void watch(zu::u32 port)
    {
        client = std::make_unique<monitor::MonitorClient>(
            "127.0.0.1", static_cast<int>(port), [this](monitor::MonitorEvents taken) {
                EXPECT_LE(taken.size(), monitor::MonitorClient::kMaxEventsAtOnce);
                const std::lock_guard lock(mutex);
                for (const MonitorEvent& event : taken)
                    lines.push_back(describe(event));
            });
        client->start();
    }

    // As dm watch does, but without the time.
    static std::string describe(const MonitorEvent& event)
    {
        if (event.kind == MonitorEvent::Kind::Profile)
            return "profile " + std::string(event.profile->begin(), event.profile->end());
        return tool::isNotice(event) ? tool::watchNotice(event, "it", true)
                                     : tool::watchText(event).substr(11);
    }

    std::vector<std::string> seen()
    {
        const std::lock_guard lock(mutex);
        return lines;
    }

    // The game's frames go on until then.
    template <typename Condition>
    static void play(Condition condition)
    {
        ASSERT_TRUE(waitUntil([&] { return dm::update(), condition(); }));
    }

    void parseData(const char* data) override { parsed.emplace_back(data); }

    std::unique_ptr<monitor::MonitorClient> client;
    std::vector<std::string> parsed;
    std::mutex mutex;
    std::vector<std::string> lines; // under mutex
};

} // namespace

TEST_F(MonitorClient, HandsOverInOrderWhatTheGameSendsAndSendsWhatItIsTold)
{
    dm::setDataParserCallback(this);
    dm::init(0);
    watch(dm::getMonitorPort());
    ASSERT_TRUE(waitUntil([&] { return client->sendData("hello"); }));
    EXPECT_TRUE(client->request(2));
    EXPECT_FALSE(client->request(3));
    EXPECT_FALSE(client->request(-1));
    EXPECT_FALSE(client->sendData(std::string(65532, 'x')));
    EXPECT_TRUE(client->sendData(std::string(65531, 'x')));
    // The game has taken the connection when it has got data.
    play([&] { return parsed.size() == 2; });
    EXPECT_EQ(parsed[1].size(), 65531u);
    EXPECT_TRUE(dm::checkAndClearRequest(2));

    dm::print(-1, "text");
    dm::printInPlace(7, "name", "value");
    dm::print(0, "12 lines were lost: they came faster than they were read");
    net::Packet profile(3);
    profile << "snapshot";
    dm::broadcastPacket(&profile);
    for (const int id : {1, 2, 3, 4711}) { // cut off, and the game's own
        net::Packet packet(id);
        dm::broadcastPacket(&packet);
    }
    std::vector<std::string> expected = {
        "dm: connected to it\n", "[-1] text\n", tool::groupName(7) + ": name = value\n",
        "(12 lines were lost: they came faster than they were read)\n", "profile snapshot"};
    for (int i = 0; i < 5000; ++i) {
        dm::print("%d", i);
        expected.push_back("[0] " + std::to_string(i) + "\n");
    }
    play([&] { return seen().size() >= expected.size(); });
    EXPECT_EQ(seen(), expected);
}

TEST_F(MonitorClient, SaysOnceThatItIsTurnedAway)
{
    support::ScriptedServer game;
    watch(game.port());
    for (int times = 0; times < 3; ++times) {
        const support::ScriptedPeer turningAway = game.accept();
        // For the moment in which it would say so again.
        waitUntil([&] { return seen().size() > 2; }, std::chrono::milliseconds(20));
    }
    support::ScriptedPeer taken = game.accept();
    taken.sendRaw(support::documentedFrames("monitor.md")["Text"]);
    ASSERT_TRUE(waitUntil([&] { return seen().size() >= 4; }));
    EXPECT_THAT(seen(), ElementsAre("dm: connected to it\n", testing::StartsWith("dm: lost the"),
                                    "dm: connected to it\n", "[2] h\n"));
}
