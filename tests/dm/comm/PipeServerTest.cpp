/// A server manager whose clients are played by the test, message by message.
#include "support/PipeFixture.h"

using namespace support;

namespace {

class PipeServer : public PipeFixture
{
protected:
    void startWith(bool createPipes = true)
    {
        server = startServer(createPipes);
        port = portOf(server);
    }
    /// Waits until the server has dealt with everything the peer sent before.
    static void roundTrip(ScriptedPeer& peer, const std::string& pipe = "pipe")
    {
        peer.send(openPipe(pipe));
        peer.expect(WireMessage::PipeOpened);
    }

    dm::CommunicationPipeManager* server = nullptr;
    dm::uint32 port = 0;
};

} // namespace

TEST_F(PipeServer, WelcomesEachClientWithTheNextNumber)
{
    startWith();
    for (const std::uint32_t number : {0u, 1u, 2u}) {
        const WireMessage hello = ScriptedPeer::connectTo(port).expect(WireMessage::Welcome);
        EXPECT_EQ(hello.id, number);
        EXPECT_EQ(hello.value, dm::kPipeProtocolVersion);
        EXPECT_EQ(hello.name, "server");
    }
}

TEST_F(PipeServer, UnderstandsAStreamCutAnywhere)
{
    startWith();
    ScriptedPeer peer = ScriptedPeer::connectTo(port);
    const std::string data = someBytes(300);
    peer.sendByteByByte(openPipe("pipe").frame() + request("pipe", 0, "slowly", data).frame() +
                        notify("pipe", 0, "drop by drop", 9).frame());
    EXPECT_EQ(takeNotify(server->getPipe("pipe")), "drop by drop");
    EXPECT_EQ(takeRequest(server->getPipe("pipe")), "slowly");
    EXPECT_EQ(requestData(server->getPipe("pipe")), data);
}

TEST_F(PipeServer, OpensOnlyPipesItHasWhenCreationIsOff)
{
    startWith(false);
    dm::CommunicationPipe* pipe = server->getPipe("Present");
    ScriptedPeer peer = ScriptedPeer::connectTo(port);
    peer.send(openPipe("absent"));
    EXPECT_EQ(peer.expect(WireMessage::PipeRefused).name, "absent");
    peer.send(openPipe("present"));
    EXPECT_EQ(peer.expect(WireMessage::PipeOpened).name, "present");
    EXPECT_TRUE(pipe->isConnected());
    EXPECT_EQ(toString(pipe->getConnectedIP()), "127.0.0.1");
    EXPECT_FALSE(server->pipeExists("absent"));
}

TEST_F(PipeServer, SkipsWhatItDoesNotKnow)
{
    startWith();
    ScriptedPeer peer = ScriptedPeer::attachTo(port, "pipe");
    WireMessage unknownKind = openPipe("pipe");
    unknownKind.kind = 99;
    peer.send(unknownKind);
    peer.send(welcome());
    peer.send(redirect("127.0.0.1", 1));
    peer.sendRaw(frameOf(204, notify("pipe", 0, "other packet id").payload()));
    peer.send(notify("unknown", 0, "x"));
    peer.send(request("unknown", 0, "x"));
    peer.send(response("pipe", 5, "to no request"));
    peer.send(notify("PIPE", 0, "understood"));
    EXPECT_EQ(takeNotify(server->getPipe("pipe")), "understood");
    EXPECT_FALSE(server->pipeExists("unknown"));
}

TEST_F(PipeServer, AskedTwiceForAPipeKeepsItsState)
{
    startWith();
    ScriptedPeer peer = ScriptedPeer::attachTo(port, "pipe");
    peer.send(request("pipe", 0, "kept"));
    roundTrip(peer);
    EXPECT_EQ(takeRequest(server->getPipe("pipe")), "kept");
    roundTrip(peer);
    server->getPipe("pipe")->respond("answered", nullptr, 0);
    EXPECT_EQ(peer.expect(WireMessage::Response).text, "answered");
}

TEST_F(PipeServer, LastClientToOpenAPipeGivesTheRemoteName)
{
    startWith();
    EXPECT_STREQ(server->getRemoteName(), "");
    ScriptedPeer first = ScriptedPeer::attachTo(port, "one");
    ScriptedPeer second = ScriptedPeer::connectTo(port);
    second.send(openPipe("two", "the second"));
    second.expect(WireMessage::PipeOpened);
    EXPECT_STREQ(server->getRemoteName(), "the second");
    roundTrip(first);
    EXPECT_STREQ(server->getRemoteName(), "scripted");
}

TEST_F(PipeServer, PipeTakenFromAStalledClientServesTheNewOne)
{
    startWith();
    dm::CommunicationPipe* pipe = server->getPipe("pipe");
    ScriptedPeer stalled = ScriptedPeer::attachTo(port, "pipe");
    Responder responder(pipe, [](auto&&...) { return Answer{"here", someBytes(32 << 20)}; });
    stalled.send(request("pipe", 0, "read"));
    stalled.expect(WireMessage::Response);
    ScriptedPeer fresh = ScriptedPeer::attachTo(port, "other");
    for (int pass = 0; pass < 30; ++pass) // each fills up the stalled connection a bit more
        roundTrip(fresh, "other");
    roundTrip(fresh, "pipe");
    fresh.send(request("pipe", 1, "read"));
    EXPECT_EQ(fresh.expectWhole(WireMessage::Response).id, 0u) << "what was being answered";
    EXPECT_EQ(fresh.expectWhole(WireMessage::Response).id, 1u);
}

TEST_F(PipeServer, RespondingWithoutARequestAnswersTheFirst)
{
    startWith();
    ScriptedPeer peer = ScriptedPeer::attachTo(port, "pipe");
    dm::CommunicationPipe* pipe = server->getPipe("pipe");
    pipe->respond("swallowed: a new connection began", nullptr, 0);
    pipe->respond("sent", nullptr, 0);
    const WireMessage sent = peer.expect(WireMessage::Response);
    EXPECT_EQ(sent.text, "sent");
    EXPECT_EQ(sent.id, 0u);
}

TEST_F(PipeServer, TakesInWhatArrivedBeforeTheEndOfAConnection)
{
    startWith();
    dm::CommunicationPipe* pipe = server->getPipe("pipe");
    for (std::uint32_t round = 0; round < 50; ++round) {
        const std::string text = "parting words " + std::to_string(round);
        ScriptedPeer peer = ScriptedPeer::connectTo(port);
        peer.expect(WireMessage::Welcome);
        peer.sendRaw(openPipe("pipe").frame() + notify("pipe", 0, text).frame());
        peer.finish();
        EXPECT_EQ(takeNotify(pipe), text);
    }
}

TEST_F(PipeServer, ClosesOnABrokenFrameOrAForeignGreeting)
{
    startWith();
    for (const std::string& bytes :
         {std::string("GET / HTTP/1.1\r\n\r\n"), std::string("\x16\x03\x01\x02\x00", 5),
          frameOf(205, "").substr(0, 4) + "\xFF\xFF\xFF\xFF"})
    {
        ScriptedPeer peer = ScriptedPeer::connectTo(port);
        peer.expect(WireMessage::Welcome);
        peer.sendRaw(bytes);
        peer.expectClosed();
    }
}

TEST_F(PipeServer, RedirectsExactlyTheNextClient)
{
    startWith();
    server->setRedirect("10.1.2.3", 4567);
    ScriptedPeer uncalled = ScriptedPeer::attachTo(port, "pipe");
    EXPECT_FALSE(uncalled.hasSeen(WireMessage::Redirect)) << "without a callback nobody is";

    server->setClientConnectionCallback({&counter, nullptr}); // set, though not to be called
    ScriptedPeer sentOn = ScriptedPeer::connectTo(port);
    const WireMessage order = sentOn.expect(WireMessage::Redirect);
    EXPECT_EQ(order.name, "10.1.2.3");
    EXPECT_EQ(order.value, 4567u);
    EXPECT_TRUE(sentOn.hasSeen(WireMessage::Welcome));

    ScriptedPeer next = ScriptedPeer::attachTo(port, "pipe");
    EXPECT_FALSE(next.hasSeen(WireMessage::Redirect));
}

TEST_F(PipeServer, DroppingClientEmptiesTheRedirectButNotItsMark)
{
    startWith();
    ScriptedPeer first = ScriptedPeer::attachTo(port, "pipe");
    server->setClientConnectionCallback(counter.onConnection());
    server->setRedirect("10.1.2.3", 4567);
    first.close();
    waitConnected(server->getPipe("pipe"), false);
    // The address is emptied by the end of the pass that saw the drop, which is over once the
    // next client is welcomed.
    const WireMessage order = ScriptedPeer::connectTo(port).expect(WireMessage::Redirect);
    EXPECT_EQ(order.name, "");
    EXPECT_EQ(order.value, 0u);
}
