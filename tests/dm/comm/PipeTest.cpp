/// Two ends of the library joined over loopback.
#include "support/PipeFixture.h"

#include <ctime>

using namespace support;
using namespace std::chrono_literals;

using Pipe = PipeFixture;

TEST_F(Pipe, PayloadsTravelUnchangedBothWays)
{
    const Ends ends = connectEnds();
    auto reversed = [](const std::string& text, const std::string& received) {
        return Answer{"re: " + text, {received.rbegin(), received.rend()}};
    };
    for (const auto& [asking, answering] :
         {std::pair(ends.client, ends.server), std::pair(ends.server, ends.client)})
    {
        Responder responder(answering, reversed);
        for (const dm::uint32 size : {0u, 1u, 65535u, 65536u, 65537u, 1u << 20, (9u << 20) + 1}) {
            const std::string data = someBytes(size);
            const Answer answer = ask(asking, "turn", data, 0, size);
            EXPECT_EQ(answer, reversed("turn", data));
            EXPECT_EQ(answer.size, size);
        }
    }
}

TEST_F(Pipe, NotificationsArriveInOrderOnceAndWhole)
{
    const Ends ends = connectEnds();
    ends.client->setNotifyCallback(counter.onPipe());
    const std::pair<std::string, dm::uint32> notes[] = {
        {"first", 5}, {std::string(300 * 1024, 'x'), 6}, {"a value of 0 is the sender's id", 0}};
    for (const auto& [text, value] : notes)
        ASSERT_TRUE(ends.server->sendNotify(text.c_str(), value));
    for (const auto& [text, value] : notes) {
        dm::uint32 received = 0;
        EXPECT_EQ(takeNotify(ends.client, &received), text);
        EXPECT_EQ(received, value == 0 ? kServerId : value);
    }
    EXPECT_TRUE(counter.reaches(3));
    EXPECT_EQ(counter.calls, 3);
}

TEST_F(Pipe, NotifyWhileDetachedIsRefusedAndRequestsWait)
{
    dm::CommunicationPipe* pipe = startClient(unusedPort())->getPipe("pipe");
    EXPECT_FALSE(pipe->sendNotify("lost", 1));
    const std::string tooLong(dm::CommunicationPipe::kMaxTextBytes + 1, 'x');
    EXPECT_EQ(ask(pipe, tooLong).text, "") << "does not wait for what can never be sent";
    EXPECT_EQ(toString(pipe->getConnectedIP()), "");
    dm::uint32 value = 5;
    EXPECT_EQ(toString(pipe->receiveNotify(&value)) + toString(pipe->receiveRequest(&value)), "");
    EXPECT_EQ(value, 5u) << "untouched";
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
    std::atomic<int> step{0}; // 1: the callback runs, 2: it may leave, 3: it leaves
    ends.server->setNotifyCallback({&step, [](void* context, dm::CommunicationPipe*) {
                                        auto& at = *static_cast<std::atomic<int>*>(context);
                                        at = 1;
                                        waitUntil([&] { return at == 2; });
                                        at = 3;
                                    }});
    ends.client->sendNotify("hello", 1);
    ASSERT_TRUE(waitUntil([&] { return step == 1; }));
    auto replaced = std::async(std::launch::async, [&] {
        ends.server->setNotifyCallback({});
        return step.load();
    });
    EXPECT_FALSE(isDone(replaced, 20ms));
    step = 2;
    EXPECT_EQ(replaced.get(), 3);
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
    std::vector<std::string> names; // more than one pass pumps
    for (int i = 0; i < 300; ++i)
        client->getPipe(names.emplace_back("pipe" + std::to_string(i)).c_str());
    for (const std::string& name : names) {
        waitConnected(client->getPipe(name.c_str()));
        ASSERT_TRUE(client->getPipe(name.c_str())->sendNotify(name.c_str(), 1));
    }
    for (const std::string& name : names)
        EXPECT_EQ(takeNotify(server->getPipe(name.c_str())), name);
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

TEST_F(Pipe, IdleEndsUseNoProcessorTime)
{
    connectEnds();
    std::this_thread::sleep_for(50ms); // the time after activity in which waiting is eager
    const std::clock_t before = std::clock();
    std::this_thread::sleep_for(500ms);
    EXPECT_LT(std::clock() - before, CLOCKS_PER_SEC / 20);
}

TEST_F(Pipe, RespondingOnceTooOftenAnswersRequest0)
{
    const Ends ends = connectEnds();
    auto first = askAside(ends.client, "first");
    EXPECT_EQ(takeRequest(ends.server), "first"); // which makes it the current one: not answered
    auto second = askAside(ends.client, "second");
    EXPECT_EQ(takeRequest(ends.server), "second");
    ends.server->respond("to the second", nullptr, 0);
    EXPECT_EQ(second.get().text, "to the second");
    ends.server->respond("one too many", nullptr, 0);
    EXPECT_EQ(first.get().text, "one too many");
}

TEST_F(Pipe, AFloodToOneClientDoesNotHoldUpAnothersAnswers)
{
    const Ends flooded = connectEnds("log");
    dm::CommunicationPipeManager* server = flooded.server->getManager();
    Responder responder(server->getPipe("work"));
    dm::CommunicationPipe* worker = startClient(portOf(server), "worker")->getPipe("work");
    std::atomic<bool> stopping{false};
    std::thread flooding([&] {
        while (!stopping)
            flooded.server->sendNotify("a line of a log", 1);
    });
    std::thread draining([&] {
        while (!stopping)
            flooded.client->receiveNotify(nullptr);
    });
    // Held up, each of them took a second, and all of them longer than a test may.
    for (int round = 0; round < 150; ++round)
        EXPECT_EQ(ask(worker, "quick").text, "quick");
    stopping = true;
    flooding.join();
    draining.join();
}
