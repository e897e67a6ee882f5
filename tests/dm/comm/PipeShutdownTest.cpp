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

TEST_F(PipeShutdown, WhileConnectingToSomebodyWhoDoesNotAccept)
{
    ScriptedServer deaf(0);
    std::vector<ScriptedPeer> fillers;
    fillers.push_back(ScriptedPeer::connectTo(deaf.port())); // the backlog of 0 takes one
    startClient(deaf.port());
    startClient(unusedPort(), "another");
    ASSERT_TRUE(waitUntil([] {
        return dm::getConnectionStatus("client").state == dm::ConnectionStatus::Connecting;
    }));
    closeSoon();
}

TEST_F(PipeShutdown, WhileSendingToAStalledPeer)
{
    ScriptedServer server;
    dm::CommunicationPipe* pipe = startClient(server.port())->getPipe("pipe");
    dm::uint32 size = 123;
    auto stuck = std::async(std::launch::async, [&, data = someBytes(64 << 20)] {
        return toString(pipe->sendRequest("store", 0, nullptr, 0, &size, data.data(), 64 << 20));
    });
    ScriptedPeer stalled = server.accept();
    stalled.welcomeAndOpen("pipe");
    ASSERT_TRUE(waitUntil([&] { return dm::getTransferProgress(pipe).sentBytes > 0; }));
    closeSoon();
    EXPECT_EQ(stuck.get(), "");
    EXPECT_EQ(size, 123u) << "untouched";
}

TEST_F(PipeShutdown, WhileRespondingToAStalledPeer)
{
    const std::string data = someBytes(64 << 20);
    const auto size = static_cast<dm::uint32>(data.size());
    const dm::ResponseSource source{nullptr,
                                    [](void*, dm::uint32, void*, dm::uint32) { return true; }};
    for (const bool fromSource : {false, true}) {
        dm::CommunicationPipe* pipe = startServer()->getPipe("pipe");
        ScriptedPeer stalled = ScriptedPeer::attachTo(portOf(pipe->getManager()), "pipe");
        stalled.send(request("pipe", 0, "read"));
        takeRequest(pipe);
        auto stuck = std::async(std::launch::async, [&] {
            if (fromSource)
                EXPECT_FALSE(dm::respondFrom(*pipe, "here", size, source));
            else
                pipe->respond("here", data.data(), size);
        });
        stalled.expect(WireMessage::Response);
        EXPECT_FALSE(isDone(stuck, 50ms));
        closeSoon();
        EXPECT_TRUE(isDone(stuck));
    }
}

TEST_F(PipeShutdown, SixteenBlockedCallersGetNothing)
{
    const Ends ends = connectEnds();
    dm::CommunicationPipeManager* manager = ends.client->getManager();
    std::vector<std::future<Answer>> askers;
    for (const char* name : {"pipe", "other"}) {
        ends.server->getManager()->getPipe(name)->setRequestCallback(counter.onPipe());
        for (int i = 0; i < 8; ++i)
            askers.push_back(askAside(manager->getPipe(name), "?"));
    }
    ASSERT_TRUE(counter.reaches(16));
    closeSoon();
    for (std::future<Answer>& asker : askers)
        EXPECT_EQ(asker.get().text, "");
}

TEST_F(PipeShutdown, WaitsForARunningCallback)
{
    const Ends ends = connectEnds();
    std::atomic<int> step{0};
    ends.server->setNotifyCallback({&step, [](void* context, dm::CommunicationPipe*) {
                                        auto& at = *static_cast<std::atomic<int>*>(context);
                                        at = 1;
                                        std::this_thread::sleep_for(50ms);
                                        at = 2;
                                    }});
    ends.client->sendNotify("hello", 1);
    ASSERT_TRUE(waitUntil([&] { return step > 0; }));
    closeSoon();
    EXPECT_EQ(step, 2);
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
