/// Many callers at once, and peers that mean harm.
#include "support/PipeFixture.h"
#include "support/RandomSeed.h"

#include <array>

using namespace support;

namespace {

using Random = std::mt19937;

template <typename List>
auto oneOf(const List& list, Random& random)
{
    return std::data(list)[random() % std::size(list)];
}

/// A well-framed packet whose message is wrong in any way one can think of, or right.
std::string hostileFrame(Random& random, const std::vector<std::uint32_t>& kinds)
{
    const std::array<std::uint32_t, 6> edges = {0, 1, 20, 0x7FFFFFFF, 0xFFFFFFF8, 0xFFFFFFFF};
    WireMessage message = request("hostile", random() % 4, "text", someBytes(random() % 40));
    message.kind = oneOf(kinds, random);
    if (random() % 2 == 0)
        message.total = oneOf(edges, random);
    if (random() % 2 == 0)
        message.offset = oneOf(edges, random);
    if (random() % 3 == 0)
        message.claimedChunk = oneOf(edges, random);
    std::string payload = message.payload();
    if (random() % 3 == 0)
        payload.resize(random() % payload.size());
    if (payload.size() > 4 && random() % 3 == 0) // the kind stays what was asked for
        payload[4 + random() % (payload.size() - 4)] ^= static_cast<char>(1 << random() % 8);
    return frameOf(payload);
}

constexpr int kHostilePackets = 10000;
constexpr int kPacketsPerConnection = 2000; // then bytes that are no frame end it

using PipeStress = PipeFixture;

} // namespace

TEST_F(PipeStress, SixtyFourThreadsLoseNoRequestOnOnePipe)
{
    const Ends ends = connectEnds();
    std::atomic<int> answered{0};
    Responder responder(ends.server, [&](const std::string& text, const std::string& data) {
        ++answered;
        return Answer{text, data};
    });
    constexpr int kRequests = 1000;
    std::vector<std::future<int>> askers;
    for (int thread = 0; thread < 64; ++thread) {
        askers.push_back(std::async(std::launch::async, [thread, pipe = ends.client] {
            int right = 0;
            for (int i = 0; i < kRequests; ++i) {
                const std::string text = std::to_string(thread * kRequests + i);
                right += ask(pipe, text, text, 0, 16) == Answer{text, text} ? 1 : 0;
            }
            return right;
        }));
    }
    for (std::future<int>& asker : askers)
        EXPECT_EQ(asker.get(), kRequests);
    EXPECT_EQ(answered, 64 * kRequests) << "none twice";
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
    Random random(randomSeed());
    for (int sent = 0; sent < kHostilePackets; sent += kPacketsPerConnection) {
        ScriptedPeer hostile = ScriptedPeer::attachTo(port, "hostile");
        for (int i = 0; i < kPacketsPerConnection; ++i) {
            ASSERT_TRUE(
                hostile.sendRaw(hostileFrame(random, {0, 1, 3, 4, 5, 6, 7, 8, 0xFFFFFFFF})));
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
    Random random(randomSeed());
    const std::vector<std::uint32_t> kinds{1, 2, 3, 4, 5, 8, 0xFFFFFFFF}; // redirects are obeyed
    for (int sent = 0; sent < kHostilePackets; sent += kPacketsPerConnection) {
        ScriptedPeer hostile = server.accept();
        hostile.welcomeAndOpen("good");
        hostile.send(pipeOpened("hostile"));
        for (int i = 0; i < kPacketsPerConnection; ++i)
            ASSERT_TRUE(hostile.sendRaw(hostileFrame(random, kinds)));
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
    Random random(randomSeed());
    for (int round = 0; round < 60; ++round) {
        dm::CommunicationPipeManager* server = startServer();
        dm::CommunicationPipe* pipe = startClient(portOf(server))->getPipe("pipe");
        server->getPipe("pipe");
        auto answer = askAside(pipe, "question", someBytes(1 << 20));
        ASSERT_TRUE(waitUntil([&] { return dm::getTransferProgress(pipe).active; }));
        std::this_thread::sleep_for(std::chrono::microseconds(random() % 3000));
        dm::deinitCommunicationManager(random() % 2 == 0 ? "server" : "client");
        dm::deinitCommunicationManagers();
        EXPECT_EQ(answer.get().text, "");
    }
}
