/// Answers whose data is made while they are sent.
#include "dm/comm/PipeLimits.h"
#include "support/PipeFixture.h"

#include <cstring>

using namespace support;
using namespace std::chrono_literals;

namespace {

/// Gives a text piece by piece, and notes that it is asked for each byte once and in order.
struct TextSource
{
    std::string text;
    std::function<bool(dm::uint32 offset)> beforeRead = [](dm::uint32) { return true; };
    dm::uint32 given = 0;

    bool answer(dm::CommunicationPipe* pipe)
    {
        given = 0;
        return dm::respondFrom(*pipe, "here", static_cast<dm::uint32>(text.size()), {this, read});
    }

private:
    static bool read(void* context, dm::uint32 offset, void* buffer, dm::uint32 size)
    {
        auto& self = *static_cast<TextSource*>(context);
        EXPECT_EQ(offset, self.given);
        EXPECT_LE(offset + size, self.text.size());
        std::memcpy(buffer, self.text.data() + offset, size);
        self.given += size;
        return self.beforeRead(offset);
    }
};

class PipeSource : public PipeFixture
{
protected:
    static constexpr dm::uint32 kRingBytes = dm::kAnswerBlockBytes * dm::kAnswerBlocks;
    // The system takes some MiB for a peer that does not read.
    static constexpr dm::uint32 kLargeBytes = 32 << 20;

    /// Takes the next request of the pipe and answers it aside.
    static std::future<bool> answerNext(dm::CommunicationPipe* pipe, TextSource& source)
    {
        takeRequest(pipe);
        return std::async(std::launch::async, [=, &source] { return source.answer(pipe); });
    }
};

} // namespace

TEST_F(PipeSource, ArrivesWholeWhateverTheSize)
{
    const Ends ends = connectEnds();
    for (const dm::uint32 size :
         {0u, 1u, 100'000u, dm::kAnswerBlockBytes, dm::kAnswerBlockBytes + 1, kRingBytes,
          kRingBytes + 1, 5 * kRingBytes - 1, 64u << 20})
    {
        TextSource source{someBytes(size, size)};
        auto asked = askAside(ends.client, "read", "", size);
        EXPECT_TRUE(answerNext(ends.server, source).get()) << size;
        EXPECT_TRUE(asked.get() == (Answer{"here", source.text})) << size;
        EXPECT_EQ(source.given, size);
    }
}

TEST_F(PipeSource, EverythingElseGoesOnWhileItIsSlow)
{
    const Ends ends = connectEnds();
    dm::CommunicationPipe* otherServer = ends.server->getManager()->getPipe("other");
    const Responder echo(otherServer);
    std::promise<void> release;
    TextSource source{someBytes(kRingBytes)};
    source.beforeRead = [&, released = release.get_future().share()](dm::uint32 offset) {
        if (offset > 0)
            released.wait();
        return true;
    };
    auto asked = askAside(ends.client, "read", "", kRingBytes);
    auto answered = answerNext(ends.server, source);

    const Responder echoBack(ends.client);
    EXPECT_EQ(ask(ends.server, "the other way").text, "the other way");
    EXPECT_TRUE(ends.server->sendNotify("notified", 0));
    EXPECT_EQ(takeNotify(ends.client), "notified");
    dm::CommunicationPipe* otherClient = ends.client->getManager()->getPipe("other");
    EXPECT_EQ(ask(otherClient, "another pipe").text, "another pipe");
    EXPECT_FALSE(isDone(asked, 0ms));
    release.set_value();
    EXPECT_TRUE(answered.get());
    EXPECT_TRUE(asked.get() == (Answer{"here", source.text}));
}

TEST_F(PipeSource, EndsWithItsConnectionAndIsAskedForAgain)
{
    dm::CommunicationPipeManager* server = startServer();
    dm::CommunicationPipe* pipe = server->getPipe("pipe");
    TextSource source{std::string(kLargeBytes, 'x')};
    ScriptedPeer first = ScriptedPeer::attachTo(portOf(server), "pipe");
    first.send(request("pipe", 0, "read"));
    auto lost = answerNext(pipe, source);
    first.expect(WireMessage::Response);
    first.close();
    EXPECT_FALSE(lost.get());

    // Nothing is left of it, and a new connection replaces one that is only stalled.
    EXPECT_FALSE(source.answer(pipe)) << "there is nobody to answer";
    ScriptedPeer stalled = ScriptedPeer::attachTo(portOf(server), "pipe");
    stalled.send(request("pipe", 0, "read"));
    auto replaced = answerNext(pipe, source);
    stalled.expect(WireMessage::Response);
    ScriptedPeer second = ScriptedPeer::attachTo(portOf(server), "pipe");
    EXPECT_FALSE(replaced.get());

    second.send(request("pipe", 0, "read"));
    auto whole = answerNext(pipe, source);
    EXPECT_TRUE(second.expectWhole(WireMessage::Response).chunk == source.text);
    EXPECT_TRUE(whole.get());
}

TEST_F(PipeSource, OneThatFailsIsAskedForAgain)
{
    const Ends ends = connectEnds();
    dm::uint32 failingAt = 0;
    TextSource source{someBytes(5 * kRingBytes)};
    source.beforeRead = [&](dm::uint32 offset) { return offset != failingAt; };
    auto asked = askAside(ends.client, "read", "", 5 * kRingBytes);
    for (const dm::uint32 offset : {0u, dm::kAnswerBlockBytes, 3 * kRingBytes}) {
        failingAt = offset;
        EXPECT_FALSE(answerNext(ends.server, source).get());
        EXPECT_EQ(source.given, offset + dm::kAnswerBlockBytes) << "it is not read any more";
    }
    failingAt = 1;
    EXPECT_TRUE(answerNext(ends.server, source).get());
    EXPECT_TRUE(asked.get() == (Answer{"here", source.text}));
    EXPECT_EQ(dm::getConnectionStatus("client").connections, 4u);

    // The other way round it is the client that drops and connects again.
    failingAt = kRingBytes;
    auto askedBack = askAside(ends.server, "read", "", 5 * kRingBytes);
    EXPECT_FALSE(answerNext(ends.client, source).get());
    failingAt = 1;
    EXPECT_TRUE(answerNext(ends.client, source).get());
    EXPECT_TRUE(askedBack.get() == (Answer{"here", source.text}));
}
