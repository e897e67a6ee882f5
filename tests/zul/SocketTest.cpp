#include "ConnectionFixture.h"
#include "zul/common/SendQueue.h"

#include <zul/Timer.h>

#include <random>
#include <sys/socket.h>

using net::Listener;
using net::Packet;
using net::Socket;
using net::u32;
using support::waitUntil;

class SocketTest : public ConnectionFixture
{
protected:
    static bool sendText(Socket& socket, const std::string& text)
    {
        Packet packet(1);
        packet.writeText(text.data(), static_cast<u32>(text.size()));
        return socket.sendPacket(&packet);
    }

    // Waits for the next packet's text; "closed" when there will be none.
    static std::string receiveText(Socket& socket)
    {
        Packet* packet = nullptr;
        waitUntil([&] {
            socket.update();
            packet = socket.pollPacket(nullptr);
            return packet || !socket.isConnected();
        });
        u32 length = 0;
        const char* text = packet ? packet->readText(length) : nullptr;
        return packet ? std::string(text, length) : "closed";
    }

    static bool waitClosed(Socket& socket)
    {
        return waitUntil([&] {
            socket.update();
            while (socket.pollPacket(nullptr)) {
            }
            return !socket.isConnected() && !socket.isPending();
        });
    }

    static bool waitReadable(Socket& socket)
    {
        zu::WaitHandle handle = socket.getWaitHandle();
        handle.interest = zu::Interest::Read;
        return zu::waitAny(&handle, 1, 40000) == 0;
    }

    // Sends until the system takes no more and a real backlog is there.
    static void stall(Socket& socket)
    {
        std::string text(60000, 's');
        while (socket.pendingSendBytes() < 1000000)
            ASSERT_TRUE(sendText(socket, text));
    }

    static double secondsToDestroy(std::unique_ptr<Socket>& socket)
    {
        const zu::Timer timer;
        socket.reset();
        return timer.getElapsed();
    }
};

TEST_F(SocketTest, KeepsTheOrderCorkedLentOrStalled)
{
    ASSERT_TRUE(connectPair());
    std::mt19937 random(7);
    std::vector<std::string> texts;
    for (int index = 0; index < 2000; index++) {
        texts.emplace_back(random() % 10 ? random() % 300 : random() % 65000,
                           static_cast<char>('a' + index % 26));
        client.setCorked(random() % 2);
        const char* text = texts.back().data();
        auto size = static_cast<u32>(texts.back().size());
        Packet packet(1);
        packet << size;
        ASSERT_EQ(random() % 2 ? packet.lend(text, size) : packet.write(text, size), size);
        ASSERT_TRUE(client.sendPacket(&packet));
    }
    EXPECT_GT(client.pendingSendBytes(), 0u); // nobody has read yet
    std::size_t received = 0;
    ASSERT_TRUE(waitUntil([&] {
        client.update();
        server->update();
        while (Packet* packet = server->pollPacket(nullptr)) {
            u32 length = 0;
            *packet >> length;
            auto* bytes = reinterpret_cast<const char*>(packet->view(length));
            EXPECT_TRUE(bytes && texts[received] == std::string_view(bytes, length)) << received;
            received++;
        }
        return received == texts.size();
    }));
}

TEST_F(SocketTest, WhatArrivedWithTheEndOfStreamIsStillDelivered)
{
    ASSERT_TRUE(connectPair());
    sendText(client, "first");
    sendText(client, "last");
    client.close();
    EXPECT_EQ(receiveText(*server), "first");
    server->update();
    EXPECT_TRUE(server->isConnected());
    EXPECT_EQ(receiveText(*server), "last");
    EXPECT_EQ(receiveText(*server), "closed");
    EXPECT_STREQ(server->closeReason(), "closed by the peer");
}

TEST_F(SocketTest, AFailedSendEndsTheConnectionBehindWhatThePeerSentBefore)
{
    ASSERT_TRUE(connectPair());
    sendText(*server, "unread: makes the close a reset");
    ASSERT_TRUE(waitReadable(client));
    sendText(client, "farewell");
    client.close();
    waitUntil([&] { return !sendText(*server, "into the void"); });
    EXPECT_TRUE(server->isConnected());
    EXPECT_EQ(receiveText(*server), "farewell");
    EXPECT_EQ(receiveText(*server), "closed");

    server.reset();
    ASSERT_TRUE(connectPair());
    sendText(*server, "arrived before");
    // The peer knows of nothing, so receiving alone would never tell.
    ::shutdown(static_cast<int>(client.getWaitHandle().native), SHUT_WR);
    EXPECT_FALSE(sendText(client, "into the void"));
    EXPECT_EQ(receiveText(client), "arrived before");
    EXPECT_EQ(receiveText(client), "closed");
}

TEST_F(SocketTest, ReadsABoundedAmountPerUpdate)
{
    ASSERT_TRUE(connectPair());
    stall(client);
    for (int updates = 0; updates < 50; updates++)
        server->update();
    u32 received = 0;
    while (server->pollPacket(nullptr))
        received += 60000;
    EXPECT_GT(received, 0u);
    EXPECT_LE(received, net::kMaxReceiveBytesPerUpdate);
}

TEST_F(SocketTest, RefusesWhatIsTooLargeToSend)
{
    EXPECT_FALSE(sendText(client, "too early"));
    ASSERT_TRUE(connectPair());
    std::string text(net::kMaxPayloadBytes - 5, 'l');
    EXPECT_FALSE(sendText(client, text + "x"));
    for (int index = 0; index < 200 && sendText(client, text); index++) {
    }
    EXPECT_FALSE(sendText(client, text));
    EXPECT_LE(client.pendingSendBytes(), net::kMaxPendingSendBytes);
    EXPECT_TRUE(client.isConnected());
}

TEST_F(SocketTest, QuietConnectionsAreProbed)
{
    ASSERT_TRUE(connectPair());
    for (const Socket* end : {&client, server.get()}) {
        int isProbed = 0;
        socklen_t size = sizeof isProbed;
        getsockopt(static_cast<int>(end->getWaitHandle().native), SOL_SOCKET, SO_KEEPALIVE,
                   &isProbed, &size);
        EXPECT_TRUE(isProbed);
    }
}

TEST_F(SocketTest, WaitsForWritingOnlyWhileThereIsABacklog)
{
    ASSERT_TRUE(connectPair());
    EXPECT_EQ(client.getWaitHandle().interest, zu::Interest::Read);
    stall(client);
    zu::WaitHandle handle = client.getWaitHandle();
    EXPECT_EQ(handle.interest, zu::Interest::ReadWrite);
    EXPECT_EQ(zu::waitAny(&handle, 1, 10), -1); // the peer does not read: no spinning
    EXPECT_FALSE(client.drain(10));
    std::thread reader([&] { waitClosed(*server); });
    EXPECT_TRUE(client.drain(40000));
    EXPECT_EQ(client.getWaitHandle().interest, zu::Interest::Read);
    client.close();
    reader.join();
}

TEST_F(SocketTest, TheDestructorHandsOverWhatIsLeft)
{
    ASSERT_TRUE(connectPair());
    server->setCorked(true);
    for (int index = 0; index < 100; index++)
        sendText(*server, std::string(500, 'q'));
    EXPECT_EQ(server->pendingSendBytes(), 100u * 513);
    server->update(false, false); // nothing ready, but nothing stalled either
    EXPECT_FALSE(server->hasSendsToDo());
    sendText(*server, "held");
    EXPECT_TRUE(server->hasSendsToDo());
    sendText(client, "unread");
    server.reset();
    for (int index = 0; index < 100; index++)
        EXPECT_EQ(receiveText(client).size(), 500u);
    EXPECT_EQ(receiveText(client), "held");
    EXPECT_EQ(receiveText(client), "closed");
}

TEST_F(SocketTest, TheDestructorDoesNotWaitLongForAStalledPeer)
{
    ASSERT_TRUE(connectPair());
    stall(*server);
    EXPECT_LT(secondsToDestroy(server), 5e-3 * net::kFinalFlushMs);
}

TEST_F(SocketTest, TheDestructorDoesNotWaitAtAllForAPeerThatEnded)
{
    double fastest = 1e9;
    for (int round = 0; round < 3; round++) {
        ASSERT_TRUE(connectPair());
        stall(*server);
        sendText(client, "last words, which nobody polls");
        ::shutdown(static_cast<int>(client.getWaitHandle().native), SHUT_WR);
        for (int update = 0; update < 2; ++update) { // finds the words, and then the end
            ASSERT_TRUE(waitReadable(*server));
            server->update(true, false);
        }
        EXPECT_TRUE(server->isConnected());
        fastest = std::min(fastest, secondsToDestroy(server));
    }
    EXPECT_LT(fastest, 0.5e-3 * net::kFinalFlushMs);
}

TEST_F(SocketTest, ConnectsAgainAfterFailureAndClose)
{
    client.connect("127.0.0.1", Listener(0).getPort()); // closed by now
    EXPECT_TRUE(waitClosed(client));
    EXPECT_FALSE(client.getWaitHandle().isValid());
    ASSERT_TRUE(connectPair());
    u32 serial = client.getWaitHandle().serial;
    sendText(*server, "of the first connection");
    server.reset();
    ASSERT_TRUE(connectPair());
    EXPECT_NE(client.getWaitHandle().serial, serial);
    sendText(*server, "of the second");
    EXPECT_EQ(receiveText(client), "of the second");
}

TEST_F(SocketTest, AttemptsThatLeadNowhereEnd)
{
    EXPECT_FALSE(client.connect("", 80) || client.connect("127.0.0.1", 65536));
    // A name that does not exist, and an address that answers nobody.
    for (const char* host : {"no-such-host.invalid", "192.0.2.1"}) {
        client.connect(host, 9);
        EXPECT_TRUE(waitClosed(client)) << host;
        EXPECT_STRNE(client.closeReason(), "") << host;
    }
}

TEST(SendQueue, KeepsItsBytesInOrderWhereverTheyLie)
{
    std::mt19937 random;
    net::SendQueue queue;
    std::string model;
    for (int step = 0; step < 300; ++step) {
        model.append(1 + random() % 3000, static_cast<char>('a' + step % 26));
        const std::string added = model.substr(queue.size());
        queue.append(reinterpret_cast<const zu::u8*>(added.data()),
                     static_cast<zu::u32>(added.size()));
        const auto sent = static_cast<zu::u32>(random() % (model.size() + 1));
        queue.consume(sent);
        model.erase(0, sent);
        ASSERT_EQ(std::string(reinterpret_cast<const char*>(queue.bytes()), queue.size()), model);
    }
}
