/// However things stand, a manager is gone soon after it is asked to.
#include "support/PipeFixture.h"

using namespace support;
using namespace std::chrono_literals;

namespace {

class PipeShutdown : public PipeFixture
{
protected:
    static void closeSoon()
    {
        const auto begin = std::chrono::steady_clock::now();
        dm::deinitCommunicationManagers();
        // A fifth of a second is promised; the rest is for slow machines and sanitizers.
        EXPECT_LT(std::chrono::steady_clock::now() - begin, 2s);
    }
};

} // namespace

TEST_F(PipeShutdown, WhileNobodyListens)
{
    startClient(unusedPort());
    closeSoon();
}

TEST_F(PipeShutdown, WhileConnectingToSomebodyWhoDoesNotAccept)
{
    ScriptedServer deaf(0);
    std::vector<ScriptedPeer> fillers;
    fillers.push_back(ScriptedPeer::connectTo(deaf.port())); // the backlog of 0 takes one
    startClient(deaf.port());
    ASSERT_TRUE(waitUntil([] {
        return dm::getConnectionStatus("client").state == dm::ConnectionStatus::Connecting;
    }));
    closeSoon();
}

TEST_F(PipeShutdown, WhileSendingToAStalledPeer)
{
    ScriptedServer server;
    dm::CommunicationPipe* pipe = startClient(server.port())->getPipe("pipe");
    auto stuck = askAside(pipe, "store", someBytes(64 << 20));
    ScriptedPeer stalled = server.accept();
    stalled.welcomeAndOpen("pipe");
    ASSERT_TRUE(waitUntil([&] { return dm::getTransferProgress(pipe).sentBytes > 0; }));
    closeSoon();
    EXPECT_EQ(stuck.get().text, "");
}

TEST_F(PipeShutdown, WhileRespondingToAStalledPeer)
{
    dm::CommunicationPipeManager* server = startServer();
    ScriptedPeer stalled = ScriptedPeer::attachTo(portOf(server), "pipe");
    stalled.send(request("pipe", 0, "read"));
    dm::CommunicationPipe* pipe = server->getPipe("pipe");
    takeRequest(pipe);
    auto stuck = std::async(std::launch::async, [pipe, data = someBytes(64 << 20)] {
        pipe->respond("here", data.data(), static_cast<dm::uint32>(data.size()));
    });
    stalled.expect(WireMessage::Response);
    EXPECT_FALSE(isDone(stuck, 50ms));
    closeSoon();
    EXPECT_TRUE(isDone(stuck));
}

TEST_F(PipeShutdown, SixteenBlockedCallersGetNothing)
{
    const Ends ends = connectEnds();
    dm::CommunicationPipeManager* manager = ends.client->getManager();
    std::vector<std::future<Answer>> askers;
    for (const char* name : {"pipe", "other"}) {
        ends.server->getManager()->getPipe(name)->setRequestCallback(counter.onPipe());
        for (int i = 0; i < 8; ++i)
            askers.push_back(std::async(std::launch::async, [pipe = manager->getPipe(name)] {
                dm::uint32 size = 123;
                const auto text = pipe->sendRequest("?", 0, nullptr, 0, &size, nullptr, 0);
                return Answer{toString(text), "", size};
            }));
    }
    ASSERT_TRUE(counter.reaches(16));
    closeSoon();
    for (std::future<Answer>& asker : askers) {
        const Answer answer = asker.get();
        EXPECT_EQ(answer.text, "");
        EXPECT_EQ(answer.size, 123u) << "untouched";
    }
}

TEST_F(PipeShutdown, WaitsForARunningCallback)
{
    const Ends ends = connectEnds();
    std::atomic<bool> entered{false}, left{false};
    std::pair context(&entered, &left);
    ends.server->setNotifyCallback({&context, [](void* pair, dm::CommunicationPipe*) {
                                        auto [in, out] = *static_cast<decltype(context)*>(pair);
                                        *in = true;
                                        std::this_thread::sleep_for(50ms);
                                        *out = true;
                                    }});
    ends.client->sendNotify("hello", 1);
    ASSERT_TRUE(waitUntil([&] { return entered.load(); }));
    closeSoon();
    EXPECT_TRUE(left);
}

TEST_F(PipeShutdown, WhatWasAnsweredStillArrives)
{
    const std::string data = someBytes(100000);
    for (int round = 0; round < 20; ++round) {
        const Ends ends = connectEnds();
        auto answer = askAside(ends.client, "read", "", 100000);
        takeRequest(ends.server);
        ends.server->respond("here", data.data(), 100000);
        dm::deinitCommunicationManager("server");
        EXPECT_EQ(answer.get(), (Answer{"here", data}));
        dm::deinitCommunicationManager("client");
    }
}
