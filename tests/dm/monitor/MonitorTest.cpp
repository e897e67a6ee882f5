/// The monitor and well-behaved tools.
#include "dm/monitor/MonitorFixture.h"

#include <dm/jobs.h>
#include <zul/Listener.h>

using namespace support;

using MonitorTest = MonitorFixture;

TEST_F(MonitorTest, PrintsCutAndFormattedTextToItsChannel)
{
    int formatted = 0;
    dm::print("nobody listens%n", &formatted);
    EXPECT_EQ(formatted, 0) << "nothing is formatted without a tool";

    const auto tool = attach();
    dm::print(0, "x");
    dm::print("y %d", 7);
    dm::print(-3, "%s", std::string(256, 'z').c_str());
    dm::print(-3, "%s", std::string(255, 'y').c_str());
    dm::print("ended%c early", 0);
    const wchar_t invalid[] = {static_cast<wchar_t>(0x7fffffff), 0};
    dm::print(4, "%ls", invalid);
    dm::printInPlace("a", "b");
    dm::printInPlace(3, "name", "%d", 5);
    dm::printInPlace(1, std::string(700, 'n').c_str(), "%s", std::string(300, 'v').c_str());
    net::Packet own(900);
    own << 1 << 2;
    dm::broadcastPacket(&own);
    dm::broadcastPacket(&own);
    dm::broadcastPacket(nullptr);
    dm::createProfilePacket();
    EXPECT_EQ(tool->next(), "0:x");
    EXPECT_EQ(tool->next(), "0:y 7");
    EXPECT_EQ(tool->next(), "-3:" + std::string(255, 'z'));
    EXPECT_EQ(tool->next(), "-3:" + std::string(255, 'y'));
    EXPECT_EQ(tool->next(), "0:ended");
    EXPECT_EQ(tool->next(), "4:") << "an invalid format";
    EXPECT_EQ(tool->next(), "0:a=b");
    EXPECT_EQ(tool->next(), "3:name=5");
    EXPECT_EQ(tool->next(), "1:" + std::string(700, 'n') + "=" + std::string(255, 'v'));
    EXPECT_EQ(tool->next(), "#900 8");
    EXPECT_EQ(tool->next(), "#900 8");
    EXPECT_EQ(tool->next().substr(0, 3), "#3 ");
}

TEST_F(MonitorTest, ToolsGetWhatIsPrintedAfterTheUpdateThatTookThem)
{
    auto first = attach();
    dm::print("one");
    const auto second = attach();
    dm::print("two");
    first.reset();
    dm::print("three");
    EXPECT_EQ(second->next(), "0:two");
    EXPECT_EQ(second->next(), "0:three");
}

TEST_F(MonitorTest, HandsOverInTheOrderOfAcceptanceAndLastWordsToo)
{
    std::vector<std::unique_ptr<MonitorTool>> tools;
    for (int index = 0; index < 10; ++index)
        tools.push_back(attach());
    parsed.clear();
    // Written in reverse, and the odd ones leave at once.
    for (size_t index = 10; index-- > 0;) {
        tools[index]->sendData("last " + std::to_string(index));
        if (index % 2 != 0)
            tools[index].reset();
    }
    ASSERT_TRUE(updateUntil([&] { return parsed.size() == 10; }));
    dm::print("still here");
    for (size_t index = 0; index < 10; index += 2)
        EXPECT_EQ(tools[index]->next(), "0:still here");
}

TEST_F(MonitorTest, RequestsAreSetByNumberAndFoundOnce)
{
    EXPECT_FALSE(dm::checkAndClearRequest(1));
    const auto tool = attach();
    for (const int request : {1, 3, -1, 0x7fffffff})
        tool->sendRequest(request);
    tool->sendData("sent");
    awaitData("sent");
    for (const int request : {0, 2, 3, -1, 0x7fffffff, -0x7fffffff})
        EXPECT_FALSE(dm::checkAndClearRequest(request)) << request;
    EXPECT_TRUE(dm::checkAndClearRequest(1));
    EXPECT_FALSE(dm::checkAndClearRequest(1));

    tool->sendRequest(2);
    tool->sendData("again");
    awaitData("again");
    dm::deinit();
    EXPECT_TRUE(dm::checkAndClearRequest(2)) << "the end leaves requests alone";
}

TEST_F(MonitorTest, ParsersMayPrintAndUpdateWithinThemselvesToALimit)
{
    const auto tool = attach();
    const auto other = attach();
    dm::u32 depth = 0;
    dm::u32 deepest = 0;
    onData = [&](const std::string& data) {
        deepest = std::max(deepest, ++depth);
        dm::print("%s", data.c_str());
        dm::update();
        --depth;
    };
    std::vector<std::string> sent = parsed;
    for (int index = 0; index < 2000; ++index)
        tool->sendData(sent.emplace_back(std::to_string(index)));
    ASSERT_TRUE(updateUntil([&] { return parsed.size() >= sent.size(); }));
    EXPECT_EQ(parsed, sent);
    EXPECT_GT(deepest, 1u);
    EXPECT_LE(deepest, dm::kMaxNestedMonitorUpdates);
    for (int index = 0; index < 2000; ++index)
        ASSERT_EQ(other->next(), "0:" + std::to_string(index));
}

TEST_F(MonitorTest, ParsersMayTakeAnyLockAndReplaceThemselves)
{
    const auto tool = attach();
    onData = [](const std::string&) {
        dm::JobManager("jobs").runJobs(true);
        std::thread([] { dm::print("from aside"); }).join();
        dm::setDataParserCallback(nullptr);
    };
    tool->sendData("work");
    awaitData("work");
    EXPECT_EQ(tool->next(), "0:from aside");
    tool->sendData("dropped, for want of a parser");
    tool->sendRequest(0);
    ASSERT_TRUE(updateUntil([] { return dm::checkAndClearRequest(0); }));
    EXPECT_EQ(parsed.back(), "work");
}

TEST_F(MonitorTest, ParsersMayEndTheMonitorAndBeginANewOne)
{
    for (const bool ends : {true, false}) {
        const auto before = attach();
        const auto tool = attach();
        const auto behind = attach();
        bool called = false;
        onData = [&](std::string data) {
            called = true;
            if (ends)
                dm::deinit();
            dm::init(0);
            dm::print("nobody is here yet");
            EXPECT_EQ(data, "now") << "the text is still there";
        };
        tool->sendData("now");
        ASSERT_TRUE(updateUntil([&] { return called; }));
        // With nothing in between, those of before are left open and alone.
        if (ends) {
            EXPECT_TRUE(waitUntil([&] { return !behind->isConnected(); }));
        } else
            EXPECT_TRUE(behind->isConnected());
        onData = nullptr;
        const auto fresh = attach();
        dm::print("new");
        EXPECT_EQ(fresh->next(), "0:new");
    }
}

TEST_F(MonitorTest, WorksAgainAfterItsEndAndDoesNothingBetween)
{
    const auto tool = attach();
    dm::print("bye");
    dm::deinit();
    EXPECT_EQ(tool->next(), "0:bye") << "what was printed goes out first";
    EXPECT_EQ(tool->next(), "closed");
    dm::deinit();
    dm::update();
    dm::print("nobody");
    dm::createProfilePacket();
    EXPECT_EQ(dm::getMonitorPort(), 0u);

    net::Listener taken(0);
    dm::init(static_cast<int>(taken.getPort()));
    dm::update();
    EXPECT_EQ(dm::getMonitorPort(), 0u) << "the port is taken";
    dm::deinit();

    dm::init(0);
    const auto again = attach();
    dm::print("again");
    EXPECT_EQ(again->next(), "0:again");
}
