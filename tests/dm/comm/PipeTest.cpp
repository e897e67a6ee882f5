/// Two ends of the library joined over loopback.
#include "support/PipeFixture.h"

#include <atomic>
#include <ctime>

using namespace support;
using namespace std::chrono_literals;

namespace {

class Pipe : public PipeFixture
{
};

class PipePayload : public PipeFixture, public testing::WithParamInterface<size_t>
{
};

} // namespace

TEST_P(PipePayload, TravelsUnchangedBothWays)
{
    const Ends ends = connectEnds();
    const std::string data = someBytes(GetParam());
    const auto size = static_cast<dm::uint32>(data.size());
    auto reversed = [](const std::string& text, const std::string& received) {
        return Answer{"re: " + text, {received.rbegin(), received.rend()}};
    };
    for (const auto& [asking, answering] :
         {std::pair(ends.client, ends.server), std::pair(ends.server, ends.client)})
    {
        Responder responder(answering, reversed);
        const Answer answer = ask(asking, "turn", data, 0, size);
        EXPECT_EQ(answer, reversed("turn", data));
        EXPECT_EQ(answer.size, size);
    }
}

INSTANTIATE_TEST_SUITE_P(Sizes, PipePayload,
                         testing::Values(0, 1, 65535, 65536, 65537, 1 << 20, (9 << 20) + 1));

TEST_F(Pipe, RequestCarriesItsTextAndValue)
{
    const Ends ends = connectEnds();
    auto answer = std::async(std::launch::async, [&] { return ask(ends.client, "hi", "", 42); });
    dm::uint32 value = 0;
    EXPECT_EQ(takeRequest(ends.server, &value), "hi");
    EXPECT_EQ(value, 42u);
    ends.server->respond("yes", nullptr, 0);
    EXPECT_EQ(answer.get().text, "yes");
}

TEST_F(Pipe, NothingThereLeavesResultsAlone)
{
    const Ends ends = connectEnds();
    dm::uint32 value = 123;
    EXPECT_EQ(toString(ends.server->receiveRequest(&value)), "");
    EXPECT_EQ(toString(ends.server->receiveNotify(&value)), "");
    EXPECT_EQ(value, 123u);
    void* data = &value;
    ends.server->getRequestData(&data, &value);
    EXPECT_EQ(data, nullptr);
    EXPECT_EQ(value, 0u);
}

TEST_F(Pipe, NotificationsArriveInOrderOnceAndWhole)
{
    const Ends ends = connectEnds();
    ends.server->setNotifyCallback(counter.onPipe());
    const std::string longText(300 * 1024, 'x');
    ASSERT_TRUE(ends.client->sendNotify("first", 5));
    ASSERT_TRUE(ends.client->sendNotify(longText.c_str(), 6));
    ASSERT_TRUE(ends.client->sendNotify("last", 7));
    for (const auto& [text, expectedValue] :
         {std::pair(std::string("first"), 5u), {longText, 6u}, {std::string("last"), 7u}})
    {
        dm::uint32 value = 0;
        EXPECT_EQ(takeNotify(ends.server, &value), text);
        EXPECT_EQ(value, expectedValue);
    }
    EXPECT_TRUE(counter.reaches(3));
    EXPECT_EQ(counter.calls, 3);
}

TEST_F(Pipe, NotificationValueZeroBecomesTheSendersId)
{
    const Ends ends = connectEnds();
    ends.server->sendNotify("who", 0);
    dm::uint32 value = 0;
    EXPECT_EQ(takeNotify(ends.client, &value), "who");
    EXPECT_EQ(value, kServerId);
}

TEST_F(Pipe, NotifyWhileDetachedIsRefusedAndRequestsWait)
{
    dm::CommunicationPipe* pipe = startClient(unusedPort())->getPipe("pipe");
    EXPECT_FALSE(pipe->sendNotify("lost", 1));
    EXPECT_EQ(toString(pipe->getConnectedIP()), "");
    auto answer = askAside(pipe, "early");
    EXPECT_FALSE(isDone(answer, 50ms));

    dm::CommunicationPipeManager* server = startServer();
    Responder responder(server->getPipe("pipe"));
    pipe->getManager()->setHost("127.0.0.1", portOf(server));
    EXPECT_TRUE(isDone(answer));
}

TEST_F(Pipe, NinthUnansweredRequestWaitsForAnAnswer)
{
    const Ends ends = connectEnds();
    ends.server->setRequestCallback(counter.onPipe());
    std::vector<std::future<Answer>> askers;
    for (int i = 0; i < 9; ++i)
        askers.push_back(askAside(ends.client, "ask"));
    ASSERT_TRUE(counter.reaches(8));
    // A notification queued now comes in a later pass than any request that could have gone out.
    ASSERT_TRUE(waitUntil([&] { return ends.client->sendNotify("mark", 1); }));
    takeNotify(ends.server);
    EXPECT_EQ(counter.calls, 8);
    for (int answered = 0; answered < 9; ++answered) {
        takeRequest(ends.server);
        ends.server->respond("ok", nullptr, 0);
    }
    EXPECT_EQ(counter.calls, 9);
}

TEST_F(Pipe, LargerResponseIsStoredWholeUnlessTheCapacityIsEnforced)
{
    const Ends ends = connectEnds();
    Responder responder(ends.server, [](auto&&...) { return Answer{"ok", someBytes(32)}; });
    for (const bool enforced : {false, true}) {
        dm::setResponseCapacityEnforced(enforced);
        std::string buffer(64, '#');
        dm::uint32 size = 0;
        ends.client->sendRequest("read", 0, buffer.data(), 16, &size, nullptr, 0);
        EXPECT_EQ(size, 32u);
        const size_t stored = enforced ? 16 : 32;
        EXPECT_EQ(buffer, someBytes(32).substr(0, stored) + std::string(64 - stored, '#'));
        EXPECT_EQ(ask(ends.client, "no buffer").size, 32u);
    }
    dm::setResponseCapacityEnforced(false);
}

TEST_F(Pipe, ReplacingACallbackWaitsUntilItHasReturned)
{
    const Ends ends = connectEnds();
    struct Gate
    {
        std::atomic<bool> entered{false}, open{false}, left{false};
    } gate;
    ends.server->setNotifyCallback({&gate, [](void* context, dm::CommunicationPipe*) {
                                        auto* self = static_cast<Gate*>(context);
                                        self->entered = true;
                                        waitUntil([&] { return self->open.load(); });
                                        self->left = true;
                                    }});
    ends.client->sendNotify("hello", 1);
    ASSERT_TRUE(waitUntil([&] { return gate.entered.load(); }));
    auto replaced = std::async(std::launch::async, [&] {
        ends.server->setNotifyCallback({});
        return gate.left.load();
    });
    EXPECT_FALSE(isDone(replaced, 20ms));
    gate.open = true;
    EXPECT_TRUE(replaced.get());
}

TEST_F(Pipe, CallbackMayReplaceItselfAndUseThePipe)
{
    const Ends ends = connectEnds();
    std::atomic<int> calls{0};
    ends.server->setNotifyCallback({&calls, [](void* context, dm::CommunicationPipe* pipe) {
                                        pipe->setNotifyCallback({});
                                        pipe->receiveNotify(nullptr);
                                        pipe->sendNotify("bye", 1);
                                        ++*static_cast<std::atomic<int>*>(context);
                                    }});
    ends.client->sendNotify("one", 1);
    EXPECT_EQ(takeNotify(ends.client), "bye");
    ends.client->sendNotify("two", 1);
    EXPECT_EQ(takeNotify(ends.server), "two");
    EXPECT_EQ(calls, 1);
}

TEST_F(Pipe, ManyPipesAreAllServed)
{
    dm::CommunicationPipeManager* server = startServer();
    dm::CommunicationPipeManager* client = startClient(portOf(server));
    constexpr int kPipes = 300; // more than one pass pumps
    for (int i = 0; i < kPipes; ++i)
        client->getPipe(("pipe" + std::to_string(i)).c_str());
    for (int i = 0; i < kPipes; ++i) {
        const std::string name = "pipe" + std::to_string(i);
        waitConnected(client->getPipe(name.c_str()));
        ASSERT_TRUE(client->getPipe(name.c_str())->sendNotify(name.c_str(), 1));
    }
    for (int i = 0; i < kPipes; ++i) {
        const std::string name = "pipe" + std::to_string(i);
        EXPECT_EQ(takeNotify(server->getPipe(name.c_str())), name);
    }
}

TEST_F(Pipe, ABulkTransferLetsOtherPipesThrough)
{
    const Ends bulk = connectEnds("bulk");
    dm::CommunicationPipe* small = bulk.client->getManager()->getPipe("small");
    waitConnected(small);
    Responder bulkResponder(bulk.server);
    Responder smallResponder(bulk.server->getManager()->getPipe("small"));
    const std::string data = someBytes(64 << 20);
    auto transfer = askAside(bulk.client, "store", data, static_cast<dm::uint32>(data.size()));
    int answeredMeanwhile = 0;
    for (; !isDone(transfer, 0ms); ++answeredMeanwhile)
        EXPECT_EQ(ask(small, "ping").text, "ping");
    EXPECT_GT(answeredMeanwhile, 3);
    EXPECT_EQ(transfer.get().data, data);
}

TEST_F(Pipe, ProgressOfATransferCanBeWatched)
{
    const Ends ends = connectEnds();
    EXPECT_FALSE(dm::getTransferProgress(ends.client).active);
    ends.server->setRequestCallback(counter.onPipe());
    auto answer = askAside(ends.client, "store", someBytes(100000), 500);
    ASSERT_TRUE(counter.reaches(1)); // all of it has arrived
    ASSERT_TRUE(
        waitUntil([&] { return dm::getTransferProgress(ends.client).sentBytes == 100000; }));
    const dm::TransferProgress progress = dm::getTransferProgress(ends.client);
    EXPECT_TRUE(progress.active);
    EXPECT_EQ(progress.sendTotal, 100000u);
    EXPECT_EQ(progress.receiveTotal, 0u);
    takeRequest(ends.server);
    EXPECT_EQ(requestData(ends.server), someBytes(100000));
    ends.server->respond("done", "x", 1);
    EXPECT_EQ(answer.get().data, "x");
    EXPECT_FALSE(dm::getTransferProgress(ends.client).active);
}

TEST_F(Pipe, IdleEndsUseNoProcessorTime)
{
    connectEnds();
    std::this_thread::sleep_for(50ms); // the time after activity in which waiting is eager
    const std::clock_t before = std::clock();
    std::this_thread::sleep_for(500ms);
    EXPECT_LT(std::clock() - before, CLOCKS_PER_SEC / 20);
}
