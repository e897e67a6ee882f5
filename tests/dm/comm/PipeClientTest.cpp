/// A client manager whose server is played by the test.
#include "support/PipeFixture.h"

#include <ctime>

using namespace support;
using namespace std::chrono_literals;

namespace {

class PipeClient : public PipeFixture
{
protected:
    PipeClient()
        : client(startClient(server.port()))
        , pipe(client->getPipe("pipe"))
    {
    }

    ScriptedPeer acceptAndOpen()
    {
        ScriptedPeer peer = server.accept();
        peer.welcomeAndOpen("pipe");
        waitConnected(pipe);
        return peer;
    }
    /// Drops the connection and plays the next one.
    void reconnect(ScriptedPeer& peer)
    {
        peer.close();
        waitConnected(pipe, false);
        peer = acceptAndOpen();
    }

    ScriptedServer server;
    dm::CommunicationPipeManager* client;
    dm::CommunicationPipe* pipe;
};

} // namespace

TEST_F(PipeClient, IsWelcomedAndAsksForItsPipeUntilItIsOpened)
{
    client->setClientConnectionCallback(counter.onConnection());
    ScriptedPeer peer = server.accept();
    peer.send(welcome(12));
    for (int refusal = 0; refusal < 3; ++refusal) {
        const WireMessage asking = peer.expect(WireMessage::OpenPipe);
        EXPECT_EQ(asking.name, "pipe");
        EXPECT_EQ(asking.text, "client");
        peer.send({.kind = WireMessage::PipeRefused, .name = "pipe"});
    }
    EXPECT_TRUE(counter.reaches(1));
    EXPECT_EQ(client->getID(), 12u);
    EXPECT_STREQ(client->getRemoteName(), "scripted");
    EXPECT_FALSE(pipe->isConnected());
    peer.send(pipeOpened("PIPE"));
    waitConnected(pipe);
    peer.send(pipeOpened("of the server's own"));
    EXPECT_TRUE(waitUntil([&] { return client->pipeExists("of the server's own"); }));
}

TEST_F(PipeClient, ClosesOnAnotherVersionAndTriesAgain)
{
    client->setClientConnectionCallback(counter.onConnection());
    for (int attempt = 1; attempt <= 2; ++attempt) {
        ScriptedPeer peer = server.accept();
        peer.send(welcome(0, 3));
        peer.expectClosed();
        EXPECT_TRUE(counter.reaches(attempt));
    }
    EXPECT_EQ(dm::getConnectionStatus("client").protocolVersion, 3u);
    acceptAndOpen();
    EXPECT_EQ(dm::getConnectionStatus("client").protocolVersion, 2u);
}

TEST_F(PipeClient, FollowsARedirectForOneConnectionAndComesBack)
{
    ScriptedServer elsewhere;
    for (const std::uint32_t port : {elsewhere.port(), 0u, unusedPort()}) {
        ScriptedPeer peer = acceptAndOpen();
        peer.send(redirect(port == 0 ? "" : "127.0.0.1", port));
        peer.expectClosed();
        if (port == elsewhere.port())
            elsewhere.accept().welcomeAndOpen("pipe");
        waitConnected(pipe, false);
        EXPECT_EQ(portOf(client), server.port()) << "the configured address stays";
    }
    acceptAndOpen();
}

TEST_F(PipeClient, RequestCutOffIsSentAgainWhole)
{
    const std::string data = someBytes(32 << 20);
    auto answer = askAside(pipe, "store", data);
    ScriptedPeer peer = acceptAndOpen();
    EXPECT_EQ(peer.expect(WireMessage::Request).offset, 0u);
    EXPECT_GT(peer.expect(WireMessage::Request).offset, 0u);
    reconnect(peer);
    const WireMessage again = peer.expectWhole(WireMessage::Request);
    EXPECT_EQ(again.id, 0u);
    EXPECT_EQ(again.chunk, data);
    peer.send(response("pipe", 0, "stored"));
    EXPECT_EQ(answer.get().text, "stored");
}

TEST_F(PipeClient, ResponseCutOffIsAskedForAgain)
{
    auto answer = askAside(pipe, "read", "", 1000);
    ScriptedPeer peer = acceptAndOpen();
    const std::uint32_t id = peer.expect(WireMessage::Request).id;
    peer.send(piece(response("pipe", id, "old", someBytes(1000, 1)), 0, 600));
    ASSERT_TRUE(waitUntil([&] { return dm::getTransferProgress(pipe).receivedBytes == 600; }));
    reconnect(peer);
    EXPECT_EQ(peer.expect(WireMessage::Request).id, id);
    const WireMessage fresh = response("pipe", id, "new", someBytes(1000, 2));
    peer.send(piece(fresh, 0, 300));
    peer.send(piece(fresh, 300, 700));
    EXPECT_EQ(answer.get(), (Answer{"new", someBytes(1000, 2)}));
}

TEST_F(PipeClient, NotificationCutOffIsForgottenAndHoldsNothingBack)
{
    pipe->setNotifyCallback(counter.onPipe());
    ScriptedPeer peer = acceptAndOpen();
    peer.send(piece(notify("pipe", 0, "half a text"), 0, 4));
    peer.send(notify("pipe", 1, "unread"));
    ASSERT_TRUE(counter.reaches(1));
    reconnect(peer);
    peer.send(notify("pipe", 0, "new"));
    peer.send(notify("pipe", 1, "newer"));
    for (const char* text : {"unread", "new", "newer"})
        EXPECT_EQ(takeNotify(pipe), text);
}

TEST_F(PipeClient, AnswerToARequestOfTheLastConnectionIsSwallowed)
{
    pipe->setConnectionCallback(counter.onPipe());
    ScriptedPeer peer = acceptAndOpen();
    peer.send(request("pipe", 0, "question", "data"));
    EXPECT_EQ(takeRequest(pipe), "question");
    reconnect(peer);
    pipe->respond("too late", nullptr, 0);
    EXPECT_EQ(requestData(pipe), "");
    peer.send(request("pipe", 0, "question"));
    EXPECT_EQ(takeRequest(pipe), "question");
    pipe->respond("in time", nullptr, 0);
    EXPECT_EQ(peer.expect(WireMessage::Response).text, "in time");
    EXPECT_EQ(counter.calls, 2) << "once a connection";
}

TEST_F(PipeClient, UnsentNotificationsAreDroppedAtTheNextConnection)
{
    ScriptedPeer peer = acceptAndOpen();
    const std::string text(1 << 20, 'n');
    for (int i = 0; i < 32; ++i) // more than the connection takes: the peer does not read
        ASSERT_TRUE(pipe->sendNotify(text.c_str(), 1));
    EXPECT_EQ(dm::flushCommunicationManager("client", 10), dm::FlushResult::TimedOut);
    reconnect(peer);
    EXPECT_EQ(dm::flushCommunicationManager("client", 10000), dm::FlushResult::Lost);
    ASSERT_TRUE(pipe->sendNotify("fresh", 1));
    EXPECT_EQ(dm::flushCommunicationManager("client", 10000), dm::FlushResult::Flushed);
    EXPECT_EQ(peer.expectWhole(WireMessage::Notify).chunk, "fresh");
}

TEST_F(PipeClient, AnsweredRequestsAreNotSentAgain)
{
    auto answered = askAside(pipe, "first");
    auto waiting = askAside(pipe, "second");
    ScriptedPeer peer = acceptAndOpen();
    const WireMessage first = peer.expect(WireMessage::Request);
    const WireMessage second = peer.expect(WireMessage::Request);
    peer.send(response("pipe", first.id, "ok"));
    ASSERT_TRUE(isDone(first.text == "first" ? answered : waiting));
    reconnect(peer);
    EXPECT_EQ(peer.expect(WireMessage::Request).id, second.id);
    peer.send(response("pipe", second.id, "ok"));
    EXPECT_TRUE(isDone(answered) && isDone(waiting));
}

TEST_F(PipeClient, ResponseChunksThatDoNotFitAreDropped)
{
    auto answer = askAside(pipe, "read", "", 16);
    ScriptedPeer peer = acceptAndOpen();
    peer.expect(WireMessage::Request);
    WireMessage lie = response("pipe", 0, "lie", someBytes(8));
    lie.offset = 0xFFFFFFF8;
    peer.send(lie);
    lie.offset = 1;
    peer.send(lie);
    lie.offset = 0;
    lie.claimedChunk = 0x7FFFFFFF;
    lie.total = 0x7FFFFFFF;
    peer.send(lie);
    peer.sendRaw(frameOf(response("pipe", 0, "short").payload().substr(0, 30)));
    peer.send(response("pipe", 0, "true", "0123456789abcdef"));
    EXPECT_EQ(answer.get(), (Answer{"true", "0123456789abcdef"}));
}

TEST_F(PipeClient, StalledServerCostsNoProcessorTimeAndLosesNothing)
{
    const std::string data = someBytes(64 << 20);
    auto stuck = askAside(pipe, "store", data);
    ScriptedPeer stalled = acceptAndOpen();
    ASSERT_TRUE(waitUntil([&] { return dm::getTransferProgress(pipe).sentBytes > 0; }));
    std::this_thread::sleep_for(300ms); // until the buffers on the way are full
    const std::clock_t before = std::clock();
    std::this_thread::sleep_for(500ms);
    EXPECT_LT(std::clock() - before, CLOCKS_PER_SEC / 20);

    EXPECT_EQ(stalled.expectWhole(WireMessage::Request).chunk, data);
    stalled.send(response("pipe", 0, "at last"));
    EXPECT_EQ(stuck.get().text, "at last");
}
