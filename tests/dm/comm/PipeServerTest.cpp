/// A server manager whose clients are played by the test, message by message.
#include "support/PipeFixture.h"

#include <zul/Listener.h>

using namespace support;

namespace {

class PipeServer : public PipeFixture
{
protected:
    /// Waits until the server has dealt with everything the peer sent before.
    static void roundTrip(ScriptedPeer& peer, const std::string& name = "pipe")
    {
        peer.send(openPipe(name));
        peer.expect(WireMessage::PipeOpened);
    }

    dm::CommunicationPipeManager* server = startServer();
    dm::uint32 port = portOf(server);
    dm::CommunicationPipe* pipe = server->getPipe("pipe");
};

} // namespace

TEST_F(PipeServer, OpensOnlyPipesItHasWhenCreationIsOff)
{
    dm::CommunicationPipeManager* strict = startServer(false, "strict");
    dm::CommunicationPipe* present = strict->getPipe("Present");
    ScriptedPeer peer = ScriptedPeer::connectTo(portOf(strict));
    peer.send(openPipe("absent"));
    EXPECT_EQ(peer.expect(WireMessage::PipeRefused).name, "absent");
    peer.send(openPipe("present"));
    EXPECT_EQ(peer.expect(WireMessage::PipeOpened).name, "present");
    EXPECT_TRUE(present->isConnected());
    EXPECT_EQ(toString(present->getConnectedIP()), "127.0.0.1");
    EXPECT_FALSE(strict->pipeExists("absent"));
}

TEST_F(PipeServer, SkipsWhatItDoesNotKnow)
{
    ScriptedPeer peer = ScriptedPeer::attachTo(port, "pipe");
    WireMessage unknownKind = openPipe("pipe");
    unknownKind.kind = 99;
    peer.send(unknownKind);
    peer.send(welcome());
    peer.send(redirect("127.0.0.1", 1));
    peer.sendRaw(frameOf(notify("pipe", 0, "other packet id").payload(), 204));
    peer.send(notify("unknown", 0, "x"));
    peer.send(request("unknown", 0, "x"));
    peer.send(response("pipe", 5, "to no request"));
    peer.send(notify("PIPE", 0, "understood"));
    EXPECT_EQ(takeNotify(pipe), "understood");
    EXPECT_FALSE(server->pipeExists("unknown"));
}

TEST_F(PipeServer, AskedTwiceForAPipeKeepsItsState)
{
    ScriptedPeer peer = ScriptedPeer::attachTo(port, "pipe");
    peer.send(request("pipe", 0, "kept"));
    roundTrip(peer);
    EXPECT_EQ(takeRequest(pipe), "kept");
    roundTrip(peer);
    pipe->respond("answered", nullptr, 0);
    EXPECT_EQ(peer.expect(WireMessage::Response).text, "answered");
}

TEST_F(PipeServer, PipeTakenFromAStalledClientServesTheNewOne)
{
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

TEST_F(PipeServer, ClosesOnAClientThatAsksAndAsksButReadsNoAnswer)
{
    ScriptedPeer deaf = ScriptedPeer::attachTo(port, "pipe");
    const std::string asking = frameOf(openPipe(std::string(1000, 'p')).payload());
    while (deaf.sendRaw(asking)) {
    }
    ScriptedPeer::attachTo(port, "pipe");
}

TEST_F(PipeServer, TakesInWhatArrivedBeforeTheEndOfAConnection)
{
    for (std::uint32_t round = 0; round < 50; ++round) {
        const std::string text = "parting words " + std::to_string(round);
        ScriptedPeer peer = ScriptedPeer::connectTo(port);
        peer.expect(WireMessage::Welcome);
        peer.sendRaw(frameOf(openPipe("pipe").payload()) +
                     frameOf(notify("pipe", 0, text).payload()));
        peer.finish();
        EXPECT_EQ(takeNotify(pipe), text);
    }
}

TEST_F(PipeServer, WelcomesByNumberAndClosesOnABrokenFrameOrAForeignGreeting)
{
    std::uint32_t number = 0;
    for (const std::string& bytes :
         {std::string("GET / HTTP/1.1\r\n\r\n"), std::string("\x16\x03\x01\x02\x00", 5),
          frameOf("").substr(0, 4) + "\xFF\xFF\xFF\xFF"})
    {
        ScriptedPeer peer = ScriptedPeer::connectTo(port);
        const WireMessage hello = peer.expect(WireMessage::Welcome);
        EXPECT_EQ(hello.id, number++);
        EXPECT_EQ(hello.value, dm::kPipeProtocolVersion);
        EXPECT_EQ(hello.name, "server");
        peer.sendRaw(bytes);
        peer.expectClosed();
    }
}

TEST_F(PipeServer, RedirectsExactlyTheNextClient)
{
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

TEST_F(PipeServer, SendsClientsOnToTheAddressTheyReachedItAt)
{
    net::setListenAddress("::");
    dm::CommunicationPipeManager* front = startServer(true, "front");
    dm::CommunicationPipeManager* behind = startServer(true, "behind");
    net::setListenAddress("");
    if (dm::getConnectionStatus("front").state != dm::ConnectionStatus::Connected)
        GTEST_SKIP() << "no IPv6 here";
    EXPECT_EQ(toString(dm::getReachedAddress(*front)), "");
    front->setClientConnectionCallback(
        {behind, [](void* target, dm::CommunicationPipeManager* reached) {
             reached->setRedirect(dm::getReachedAddress(*reached).c_str(),
                                  portOf(static_cast<dm::CommunicationPipeManager*>(target)));
         }});
    for (const char* address : {"127.0.0.2", "::1"}) {
        dm::CommunicationPipe* client =
            dm::initCommunicationManagerAsClient(address, address, static_cast<int>(portOf(front)))
                ->getPipe("pipe");
        waitConnected(client);
        EXPECT_EQ(toString(client->getConnectedIP()), address);
        EXPECT_EQ(toString(dm::getReachedAddress(*front)), address);
        EXPECT_EQ(toString(dm::getReachedAddress(*behind)), address);
    }
}

TEST_F(PipeServer, DroppingClientEmptiesTheRedirectButNotItsMark)
{
    ScriptedPeer first = ScriptedPeer::attachTo(port, "pipe");
    server->setClientConnectionCallback(counter.onConnection());
    server->setRedirect("10.1.2.3", 4567);
    first.close();
    waitConnected(pipe, false);
    // The address is emptied by the end of the pass that saw the drop, which is over once the
    // next client is welcomed.
    const WireMessage order = ScriptedPeer::connectTo(port).expect(WireMessage::Redirect);
    EXPECT_EQ(order.name, "");
    EXPECT_EQ(order.value, 0u);
}
