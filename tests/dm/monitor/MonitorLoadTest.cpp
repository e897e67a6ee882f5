/// The monitor and tools that do not read, flood, lie, come and go.
#include "dm/monitor/MonitorFixture.h"
#include "support/Sanitized.h"

#include <atomic>
#include <map>

using namespace support;
using std::chrono::steady_clock;

namespace {

/// What one tool has received of in-place values and of lines that are numbered within their
/// channel.
struct Account
{
    dm::u64 lines = 0;
    dm::u64 lost = 0;
    dm::u64 notices = 0;
    bool inOrder = true;
    std::map<int, dm::u64> next{};
    std::map<std::string, std::string> values{};

    void take(const dm::MonitorMessage& message, net::Packet&)
    {
        if (message.kind == dm::MonitorMessage::Kind::InPlace)
            values[message.name] = message.text;
        if (message.kind != dm::MonitorMessage::Kind::Text)
            return;
        const dm::u64 missed = dm::readLostLines(message);
        lost += missed;
        ++(missed > 0 ? notices : lines);
        if (missed > 0)
            return;
        const dm::u64 line = std::stoull(message.text);
        inOrder = inOrder && line >= next[message.channel];
        next[message.channel] = line + 1;
    }

    dm::u64 total() const { return lines + lost; }
};

void readAll(MonitorTool& tool, Account& account)
{
    tool.receive([&](const dm::MonitorMessage& message, net::Packet& packet) {
        account.take(message, packet);
    });
}

using MonitorLoadTest = MonitorFixture;

} // namespace

TEST_F(MonitorLoadTest, AStoppedToolLosesLinesByTheCountAndNobodyElseNotices)
{
    // More than the system takes for a tool that does not read.
    constexpr dm::u64 kLines = kSanitized ? 300'000 : 10'000'000;
    constexpr int kPadding = kSanitized ? 150 : 1;
    const auto stopped = attach();
    const auto healthy = attach();
    std::atomic<dm::u64> healthyTotal{0};
    Account read;
    std::jthread reader([&] {
        waitUntil(
            [&] {
                readAll(*healthy, read);
                healthyTotal = read.total();
                return read.total() >= kLines;
            },
            10 * kLongLimit);
    });
    for (dm::u64 line = 0; line < kLines; ++line) {
        dm::print(5, "%llu%*s", static_cast<unsigned long long>(line), kPadding, "");
        if (line % 1000 == 0) {
            const auto value = static_cast<unsigned long long>(line);
            dm::printInPlace("line", "%llu", value);
            dm::printInPlace(line % 2000 == 0 ? "even" : "odd", "%llu", value);
            if (line == 50'000)
                dm::printInPlace("early", "once");
            dm::update();
            // No faster than the one that reads, whatever the machine.
            ASSERT_TRUE(waitUntil([&] { return healthyTotal + 20'000 > line; }));
        }
        if (line % 100'000 == 0)
            dm::createProfilePacket();
    }
    reader.join();
    EXPECT_EQ(read.lines, kLines);
    EXPECT_TRUE(read.inOrder);

    Account account;
    ASSERT_TRUE(waitUntil([&] {
        readAll(*stopped, account);
        return account.total() >= kLines;
    }));
    EXPECT_EQ(account.total(), kLines);
    EXPECT_TRUE(account.inOrder);
    EXPECT_EQ(account.values, read.values);
    EXPECT_EQ(account.values.count("early"), 1u);
    EXPECT_GT(account.lost, kLines / 10);
    EXPECT_EQ(account.notices, 1u);
}

TEST_F(MonitorLoadTest, SeveralThreadsPrintWhileToolsComeAndGo)
{
    constexpr int kThreads = 4;
    const auto watcher = attach();
    std::atomic<bool> stopping{false};
    std::atomic<dm::u64> printed{0};
    std::vector<std::jthread> printers;
    for (int thread = 0; thread < kThreads; ++thread)
        printers.emplace_back([&, thread] {
            for (int line = 0; !stopping; ++line) {
                dm::print(thread, "%d", line);
                dm::printInPlace(thread, "line", "%d", line);
                dm::checkAndClearRequest(thread);
                ++printed;
                if (line % 20 == 0) // so that the others get on too
                    std::this_thread::sleep_for(std::chrono::milliseconds(1));
            }
        });
    std::vector<std::unique_ptr<MonitorTool>> tools;
    for (int round = 0; round < (kSanitized ? 6 : 40); ++round) {
        tools.push_back(attach());
        tools.back()->sendRequest(1);
        if (round % 3 == 0)
            tools.erase(tools.begin());
        else
            tools.front()->isConnected(); // reads what is there
    }
    stopping = true;
    printers.clear();

    Account account;
    ASSERT_TRUE(waitUntil(
        [&] {
            readAll(*watcher, account);
            return account.total() >= printed;
        },
        4 * kLongLimit));
    EXPECT_EQ(account.total(), printed);
    EXPECT_TRUE(account.inOrder) << "within each thread";
}

TEST_F(MonitorLoadTest, WhoeverLiesIsClosedAndNobodyElseNotices)
{
    const auto bystander = attach();
    const dm::u32 port = dm::getMonitorPort();
    using namespace std::string_view_literals;
    const std::string_view lies[] = {
        "GET / HTTP/1.1\r\n\r\n",
        "\xD5\x7A\x65\0\xFF\xFF\xFF\x7F"sv, // 2 GiB
        "\xD5\x7A\x65\0\x01\0\x01\0"sv,     // a byte more than a tool may say
        "\xD5\x7A\x65\0\0\0\0\0junk"sv,     // 101 without a text, then junk
    };
    for (const std::string_view lie : lies) {
        ScriptedPeer liar = ScriptedPeer::connectTo(port);
        liar.sendRaw(lie);
        std::atomic<bool> closed{false};
        std::jthread waiter([&] {
            liar.expectClosed();
            closed = true;
        });
        EXPECT_TRUE(updateUntil([&] { return closed.load(); })) << lie;
    }
    EXPECT_EQ(parsed.size(), 1u) << "the greeting of the bystander";

    dm::print("quiet here");
    EXPECT_EQ(bystander->next(), "0:quiet here");
}

TEST_F(MonitorLoadTest, AFloodIsHandedOverInPortionsAndHoldsUpNobody)
{
    constexpr std::ptrdiff_t kFlood = 20'000;
    const auto flooder = attach();
    const auto bystander = attach();
    parsed.clear();
    std::jthread flood([&] {
        for (int sent = 0; sent < kFlood; ++sent) {
            flooder->sendRequest(2);
            flooder->sendData("flood");
        }
        waitUntil([&] { return flooder->isConnected() && flooder->unsentBytes() == 0; });
    });
    ASSERT_TRUE(updateUntil([&] { return !parsed.empty(); }));
    bystander->sendData("me too");
    size_t most = 0;
    ASSERT_TRUE(waitUntil([&] {
        const size_t before = parsed.size();
        dm::update();
        most = std::max(most, parsed.size() - before);
        return parsed.size() > kFlood;
    }));
    EXPECT_LE(most, 257u);
    EXPECT_EQ(std::ranges::count(parsed, "flood"), kFlood);
    EXPECT_NE(parsed.back(), "me too") << "it came in between";
}

TEST_F(MonitorLoadTest, MoreToolsThanAllowedAreTurnedAway)
{
    std::vector<std::unique_ptr<MonitorTool>> tools;
    for (dm::u32 count = 0; count < dm::kMaxMonitorTools; ++count)
        tools.push_back(attach());
    MonitorTool tooMany(dm::getMonitorPort());
    EXPECT_EQ(tooMany.next(), "closed");
    tools.pop_back();
    EXPECT_TRUE(updateUntil([&] {
        MonitorTool last(dm::getMonitorPort());
        last.sendData("last");
        return updateUntil([&] { return std::ranges::count(parsed, "last") > 0; },
                           std::chrono::milliseconds(50));
    })) << "a place is free again";
}

TEST_F(MonitorLoadTest, EndsInBoundedTimeWhateverToolsAndThreadsDo)
{
    std::vector<std::unique_ptr<MonitorTool>> stopped;
    for (int count = 0; count < 16; ++count)
        stopped.push_back(attach());
    const auto flooder = attach();
    const dm::u32 port = dm::getMonitorPort();
    std::jthread printer([](const std::stop_token& stop) {
        while (!stop.stop_requested())
            dm::print("%200s", "");
    });
    std::jthread flood([&](const std::stop_token& stop) {
        for (int sent = 0; !stop.stop_requested() && flooder->isConnected(); ++sent) {
            flooder->sendData("flood");
            if (sent % 100 == 0)
                net::Socket().connect("127.0.0.1", port);
        }
    });
    ASSERT_TRUE(updateUntil([&] { return std::ranges::count(parsed, "flood") > 1000; }));
    const auto start = steady_clock::now();
    dm::deinit();
    EXPECT_LT(steady_clock::now() - start, std::chrono::seconds(kSanitized ? 10 : 2));
}
