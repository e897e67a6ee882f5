#include "dm/monitor/MonitorLog.h"

#include "dm/monitor/MonitorPackets.h"
#include "support/Sanitized.h"

#include <gtest/gtest.h>
#include <map>
#include <random>
#include <string>

namespace {

constexpr dm::u32 kLimit = dm::kMinMonitorBacklogBytes;

class MonitorLogTest : public testing::Test
{
protected:
    MonitorLogTest() { log.start(kLimit, nullptr); }

    void print(int channel, const std::string& text)
    {
        dm::writeText(packet, channel, text.data(), static_cast<dm::u32>(text.size()));
        log.append(packet);
    }

    void set(int group, const std::string& name, const std::string& value)
    {
        const dm::u32 place = dm::writeInPlace(packet, group, name.c_str(), value.data(),
                                               static_cast<dm::u32>(value.size()));
        log.append(packet, place);
    }

    void broadcast(int id, dm::u32 bytes)
    {
        packet.reset(id);
        packet.writeText(std::string(bytes, 'p').c_str(), bytes);
        log.append(packet);
    }

    /// More than the log holds.
    int flood()
    {
        constexpr int kLines = kLimit / 200;
        for (int line = 0; line < kLines; ++line)
            print(9, std::string(200, 'f'));
        return kLines;
    }

    /// Everything that the reader has, in words.
    std::vector<std::string> readAll(dm::LogReader& reader)
    {
        std::vector<std::string> found;
        net::Packet next(0);
        while (reader.next(next)) {
            next.setPos(0);
            const dm::MonitorMessage message = dm::readMonitorMessage(next);
            if (const dm::u64 lost = dm::readLostLines(message))
                found.push_back("lost " + std::to_string(lost));
            else if (message.kind == dm::MonitorMessage::Kind::InPlace)
                found.push_back(message.name + std::string("=") + message.text);
            else
                found.push_back(next.getID() == 1 ? message.text : std::to_string(next.getSize()));
        }
        return found;
    }

    dm::MonitorLog log;
    net::Packet packet{0};
};

} // namespace

TEST_F(MonitorLogTest, ReadersGetWhatIsAppendedAfterTheyWereOpened)
{
    dm::LogReader first = log.openReader();
    print(0, "one");
    dm::LogReader second = log.openReader();
    set(0, "name", "two");
    broadcast(77, 500000);
    const std::vector<std::string> rest{"name=two", "500005"};
    EXPECT_EQ(readAll(second), rest);
    EXPECT_EQ(readAll(first), (std::vector<std::string>{"one", "name=two", "500005"}));
    print(0, "three");
    EXPECT_EQ(readAll(first), std::vector<std::string>{"three"});
}

TEST_F(MonitorLogTest, LosersLearnHowMuchThenTheNewestValuesThenWhatIsLeft)
{
    dm::LogReader reader = log.openReader();
    set(1, "before", "seen");
    ASSERT_EQ(readAll(reader).size(), 1u);
    set(1, "lost", "old");
    set(1, "again", "old");
    set(1, "lost", "newest");
    broadcast(3, 100000);
    const size_t printed = static_cast<size_t>(flood());
    set(1, "again", "late");
    set(1, std::string(256, 'n'), "not kept");

    const std::vector<std::string> found = readAll(reader);
    ASSERT_GT(found.size(), 4u);
    // The rest of the block that it was in the middle of comes first.
    const size_t notice =
        static_cast<size_t>(std::find_if(found.begin(), found.end(),
                                         [](auto& text) { return text.starts_with("lost "); }) -
                            found.begin());
    ASSERT_LT(notice, found.size());
    const size_t lost = std::stoul(found[notice].substr(5));
    const size_t lines =
        static_cast<size_t>(std::count(found.begin(), found.end(), std::string(200, 'f')));
    EXPECT_EQ(lines + lost, printed);
    EXPECT_EQ(std::count(found.begin(), found.end(), "100005"), 0) << "skipped whole";
    EXPECT_EQ(std::count(found.begin(), found.end(), "before=seen"), 0);
    EXPECT_EQ(std::count(found.begin(), found.end(), "again=late"), 1);
}

TEST_F(MonitorLogTest, ValuesLostWithTheirBlocksAreDeliveredOnceAndTheNewest)
{
    dm::LogReader reader = log.openReader();
    flood(); // so that the reader's own block is full
    for (int value = 0; value < 10; ++value)
        set(2, "speed", std::to_string(value));
    flood();
    const std::vector<std::string> found = readAll(reader);
    EXPECT_EQ(std::count(found.begin(), found.end(), "speed=9"), 1);
    EXPECT_EQ(std::count_if(found.begin(), found.end(),
                            [](auto& text) { return text.starts_with("speed="); }),
              1);
}

TEST_F(MonitorLogTest, ReadersOfAllSpeedsAccountForEveryLine)
{
    const unsigned seed = std::random_device()();
    SCOPED_TRACE(seed);
    std::mt19937 engine(seed);
    const auto random = [&engine] { return static_cast<unsigned>(engine()); };
    struct Account
    {
        dm::LogReader reader;
        dm::u64 start = 0;
        dm::u64 seen = 0;
        std::map<std::string, std::string> values{};
    };
    std::vector<Account> readers;
    std::map<std::string, std::string> values;
    dm::u64 printed = 0;
    net::Packet next(0);
    const auto read = [&](Account& account, unsigned packets) {
        while (packets-- > 0 && account.reader.next(next)) {
            next.setPos(0);
            const dm::MonitorMessage message = dm::readMonitorMessage(next);
            const dm::u64 lost = dm::readLostLines(message);
            if (message.kind == dm::MonitorMessage::Kind::InPlace)
                account.values[message.name] = message.text;
            else if (next.getID() == 1)
                account.seen += lost > 0 ? lost : 1;
            if (message.kind == dm::MonitorMessage::Kind::Text && lost == 0) {
                ASSERT_EQ(std::stoull(message.text), account.start + account.seen - 1);
            }
        }
    };
    for (int step = 0; step < (support::kSanitized ? 60 : 300); ++step) {
        if (step % 30 == 0)
            readers.push_back({log.openReader(), printed});
        for (unsigned count = random() % 3000; count > 0; --count) {
            if (random() % 50 == 0) {
                const std::string name = "value " + std::to_string(random() % 200);
                set(0, name, values[name] = std::to_string(random()));
            }
            std::string text = std::to_string(printed++);
            print(5, text + std::string(random() % 200, ' '));
        }
        if (random() % 20 == 0)
            broadcast(3, random() % net::kMaxPayloadBytes);
        for (Account& account : readers)
            read(account, random() % 1000 + 2000 * (random() % 5));
    }
    for (Account& account : readers) {
        read(account, ~0u);
        EXPECT_EQ(account.start + account.seen, printed);
        for (const auto& [name, value] : account.values)
            EXPECT_EQ(value, values[name]) << name;
    }
    EXPECT_EQ(readers.front().values.size(), values.size());
}

TEST_F(MonitorLogTest, WhatCannotBeSentIsNotKept)
{
    dm::LogReader reader = log.openReader();
    broadcast(3, net::kMaxPayloadBytes);
    packet.reset(8);
    packet.setPos(99);
    log.append(packet);
    log.stop();
    print(0, "after the end");
    EXPECT_TRUE(readAll(reader).empty());
}
