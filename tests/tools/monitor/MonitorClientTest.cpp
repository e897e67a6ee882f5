#include "tools/monitor/MonitorClient.h"

#include "support/WaitUntil.h"

#include <dm/monitor.h>
#include <zul/Listener.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <mutex>

using monitor::MonitorEvent;
using support::waitUntil;
using testing::ElementsAre;
using Kind = MonitorEvent::Kind;

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

    void startGame()
    {
        dm::setDataParserCallback(this);
        dm::init(0);
        ASSERT_NE(dm::getMonitorPort(), 0u);
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

    static std::string describe(const MonitorEvent& event)
    {
        switch (event.kind) {
        case Kind::Connected:
            return "connected";
        case Kind::Lost:
            return "lost: " + event.text;
        case Kind::Unreachable:
            return "unreachable";
        case Kind::NotAMonitor:
            return "foreign: " + event.text;
        case Kind::Text:
            return std::to_string(event.channel) + ": " + event.text;
        case Kind::Value:
            return std::to_string(event.group) + "/" + event.name + ": " + event.text;
        case Kind::Profile:
            return "profile: " + std::string(event.profile->begin(), event.profile->end());
        case Kind::LostLines:
            return "lost lines: " + std::to_string(event.lostLines);
        }
        return "";
    }

    std::vector<std::string> seen()
    {
        const std::lock_guard lock(mutex);
        return lines;
    }

    // The game's frames go on until so much has been seen.
    void await(size_t count)
    {
        ASSERT_TRUE(waitUntil([&] {
            dm::update();
            return seen().size() >= count;
        })) << testing::PrintToString(seen());
    }

    // The game has taken the connection when it has got the first data.
    void attach()
    {
        ASSERT_TRUE(waitUntil([&] { return client->sendData("hello"); }));
        ASSERT_TRUE(waitUntil([&] {
            dm::update();
            return !parsed.empty();
        }));
    }

    static std::unique_ptr<net::Socket> accept(net::Listener& listener)
    {
        std::unique_ptr<net::Socket> accepted;
        EXPECT_TRUE(waitUntil([&] {
            accepted.reset(listener.pollConnect());
            return accepted != nullptr;
        }));
        return accepted;
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
    startGame();
    watch(dm::getMonitorPort());
    attach();
    EXPECT_TRUE(client->request(2));
    EXPECT_FALSE(client->request(3));
    EXPECT_FALSE(client->request(-1));
    EXPECT_FALSE(client->sendData(std::string(65532, 'x')));
    EXPECT_TRUE(client->sendData(std::string(65531, 'x')));
    EXPECT_TRUE(waitUntil([&] {
        dm::update();
        return parsed.size() == 2;
    }));
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
    std::vector<std::string> expected = {"connected", "-1: text", "7/name: value", "lost lines: 12",
                                         "profile: snapshot"};
    for (int i = 0; i < 5000; ++i) {
        dm::print("%d", i);
        expected.push_back("0: " + std::to_string(i));
    }
    await(expected.size());
    EXPECT_EQ(seen(), expected);
}

TEST_F(MonitorClient, SaysOnceThatItIsTurnedAway)
{
    net::Listener listener(0);
    watch(listener.getPort());
    for (int times = 0; times < 3; ++times)
        accept(listener).reset();
    const auto taken = accept(listener);
    net::Packet packet(1);
    packet << 0 << "welcome";
    taken->sendPacket(&packet);
    await(4);
    EXPECT_THAT(seen(),
                ElementsAre("connected", testing::StartsWith("lost: "), "connected", "0: welcome"));
}
