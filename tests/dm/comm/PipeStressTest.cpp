/// Many callers at once, and peers that mean harm.
#include "support/PipeFixture.h"

#include <array>
#include <cstdlib>
#include <random>

using namespace support;

namespace {

/// Random with a seed that is printed, and taken from DM_TEST_SEED to repeat a failure.
class Dice
{
public:
    Dice()
    {
        const char* given = std::getenv("DM_TEST_SEED");
        const unsigned seed = given ? static_cast<unsigned>(std::strtoul(given, nullptr, 10))
                                    : std::random_device{}();
        generator.seed(seed);
        std::printf("repeat with DM_TEST_SEED=%u\n", seed);
    }
    std::uint32_t operator()(std::uint32_t below)
    {
        return static_cast<std::uint32_t>(generator() % below);
    }

private:
    std::mt19937 generator;
};

/// Well-framed packets whose messages are wrong in every way one can think of, and some right ones.
class HostileWriter
{
public:
    explicit HostileWriter(std::vector<std::uint32_t> sentKinds)
        : kinds(std::move(sentKinds))
    {
    }

    std::string frame()
    {
        WireMessage message = request("hostile", dice(4), "text", someBytes(dice(40)));
        message.kind = kinds[dice(static_cast<std::uint32_t>(kinds.size()))];
        message.total = number(message.total);
        message.offset = number(0);
        if (dice(3) == 0)
            message.claimedChunk = number(0);
        std::string payload = message.payload();
        if (dice(3) == 0)
            payload.resize(dice(static_cast<std::uint32_t>(payload.size())));
        if (payload.size() > 4 && dice(3) == 0) // the kind stays what was asked for
            payload[4 + dice(static_cast<std::uint32_t>(payload.size() - 4))] ^=
                static_cast<char>(1 << dice(8));
        return frameOf(205, payload);
    }

private:
    std::uint32_t number(std::uint32_t usual)
    {
        const std::array<std::uint32_t, 6> edges = {0, 1, 20, 0x7FFFFFFF, 0xFFFFFFF8, 0xFFFFFFFF};
        return dice(2) == 0 ? usual : edges[dice(edges.size())];
    }

    Dice dice;
    std::vector<std::uint32_t> kinds;
};

constexpr int kHostilePackets = 10000;
constexpr int kPacketsPerConnection = 2000; // then bytes that are no frame end it

class PipeStress : public PipeFixture
{
};

} // namespace

TEST_F(PipeStress, SixtyFourThreadsLoseNoRequestOnOnePipe)
{
    const Ends ends = connectEnds();
    Responder responder(ends.server);
    constexpr int kThreads = 64;
    constexpr int kRequests = 1000;
    std::vector<std::future<int>> askers;
    for (int thread = 0; thread < kThreads; ++thread) {
        askers.push_back(std::async(std::launch::async, [thread, pipe = ends.client] {
            int wrong = 0;
            for (int i = 0; i < kRequests; ++i) {
                const std::string text = std::to_string(thread * kRequests + i);
                wrong += ask(pipe, text, text, 0, 16) == Answer{text, text} ? 0 : 1;
            }
            return wrong;
        }));
    }
    for (std::future<int>& asker : askers)
        EXPECT_EQ(asker.get(), 0);
    EXPECT_EQ(responder.answered(), kThreads * kRequests);
}

TEST_F(PipeStress, BothEndsMayAskAndNotifyAtOnce)
{
    const Ends ends = connectEnds();
    Responder serverResponder(ends.server);
    Responder clientResponder(ends.client);
    auto work = [](dm::CommunicationPipe* pipe) {
        const std::string data = someBytes(100000);
        for (int i = 0; i < 200; ++i) {
            EXPECT_TRUE(pipe->sendNotify(std::to_string(i).c_str(), 1));
            EXPECT_EQ(ask(pipe, "turn", data, 0, 100000).data, data);
        }
        for (int i = 0; i < 200; ++i)
            EXPECT_EQ(takeNotify(pipe), std::to_string(i));
    };
    std::thread aside(work, ends.server);
    work(ends.client);
    aside.join();
}

TEST_F(PipeStress, ServerServesOnUnderHostilePackets)
{
    const Ends good = connectEnds("good");
    Responder responder(good.server);
    auto port = portOf(good.server->getManager());
    HostileWriter writer({0, 1, 3, 4, 5, 6, 7, 8, 0xFFFFFFFF});
    for (int sent = 0; sent < kHostilePackets; sent += kPacketsPerConnection) {
        ScriptedPeer hostile = ScriptedPeer::attachTo(port, "hostile");
        for (int i = 0; i < kPacketsPerConnection; ++i) {
            ASSERT_TRUE(hostile.sendRaw(writer.frame()));
            if (i % 100 == 0) {
                ASSERT_EQ(ask(good.client, "still there?").text, "still there?");
            }
        }
        hostile.sendRaw("no frame");
        hostile.expectClosed();
    }
    EXPECT_EQ(ask(good.client, "after all").text, "after all");
}

TEST_F(PipeStress, ClientWorksOnUnderHostilePackets)
{
    ScriptedServer server;
    dm::CommunicationPipe* pipe = startClient(server.port())->getPipe("good");
    HostileWriter writer({1, 2, 3, 4, 5, 8, 0xFFFFFFFF}); // a redirect would be obeyed
    auto attach = [&] {
        ScriptedPeer peer = server.accept();
        peer.welcomeAndOpen("good");
        peer.send(pipeOpened("hostile"));
        return peer;
    };
    for (int sent = 0; sent < kHostilePackets; sent += kPacketsPerConnection) {
        ScriptedPeer hostile = attach();
        for (int i = 0; i < kPacketsPerConnection; ++i)
            ASSERT_TRUE(hostile.sendRaw(writer.frame()));
        auto answer = askAside(pipe, "still there?");
        const std::uint32_t id = hostile.expect(WireMessage::Request).id;
        hostile.send(response("good", id, "yes"));
        EXPECT_EQ(answer.get().text, "yes");
        hostile.sendRaw("no frame");
        hostile.expectClosed();
    }
}

TEST_F(PipeStress, ManagersCloseAtAnyMoment)
{
    Dice dice;
    for (int round = 0; round < 60; ++round) {
        dm::CommunicationPipeManager* server = startServer();
        dm::CommunicationPipe* pipe = startClient(portOf(server))->getPipe("pipe");
        server->getPipe("pipe");
        auto answer = askAside(pipe, "question", someBytes(1 << 20));
        ASSERT_TRUE(waitUntil([&] { return dm::getTransferProgress(pipe).active; }));
        std::this_thread::sleep_for(std::chrono::microseconds(dice(3000)));
        const std::array<const char*, 2> names = {"server", "client"};
        const auto first = dice(2);
        dm::deinitCommunicationManager(names[first]);
        dm::deinitCommunicationManager(names[1 - first]);
        EXPECT_EQ(answer.get().text, "");
    }
}
