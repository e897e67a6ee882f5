#include "dm/comm/PipeMessages.h"

#include "support/ReceivedPacket.h"
#include "support/SourceTree.h"
#include "support/WireMessage.h"

#include <type_traits>

using namespace support;

namespace {

template <typename Message>
bool decode(const std::string& payload, Message& message)
{
    ReceivedPacket packet(payload);
    dm::readKind(*packet);
    return dm::decode(*packet, (*packet).getSize(), message);
}

/// `missingAllowed`: the message may end as many bytes early, at once.
template <typename Message>
void expectWholeOnly(const WireMessage& wire, size_t missingAllowed = 0)
{
    Message message;
    const std::string payload = wire.payload();
    for (size_t size = 0; size <= payload.size(); ++size) {
        const bool whole = size == payload.size() || size + missingAllowed == payload.size();
        EXPECT_EQ(decode(payload.substr(0, size), message), whole) << wire << " cut to " << size;
    }
}

/// As hex digits, which can be read when they differ.
template <typename Message, typename... Extra>
std::string encoded(const Message& message, Extra... extra)
{
    net::Packet packet(dm::kPipePacketId);
    if constexpr (std::is_same_v<Message, dm::PipeNameMessage>)
        dm::encode(packet, extra..., message);
    else
        dm::encode(packet, message, extra...);
    return testing::PrintToString(frameOf(packet));
}

/// Encodes the message, and once more what is decoded of that: both must be the bytes documented.
template <typename Message, typename... Extra>
void expectDocumented(const std::string& documented, const Message& message, Extra... extra)
{
    EXPECT_EQ(encoded(message, extra...), testing::PrintToString(documented));
    ReceivedPacket received(std::string_view(documented).substr(net::kFrameHeaderBytes));
    Message decoded;
    dm::readKind(*received);
    ASSERT_TRUE(dm::decode(*received, (*received).getSize(), decoded));
    EXPECT_EQ(encoded(decoded, extra...), testing::PrintToString(documented));
}

} // namespace

TEST(PipeMessages, AreEncodedAndDecodedAsDocumented)
{
    using namespace dm;
    auto frames = documentedFrames("pipes.md");
    ASSERT_EQ(frames.size(), 9u);
    expectDocumented(frames["Welcome"], WelcomeMessage{2, 0, "game"});
    expectDocumented(frames["OpenPipe"], OpenPipeMessage{"assets", "tool"});
    expectDocumented(frames["PipeOpened"], PipeNameMessage{"assets"}, MessageKind::PipeOpened);
    expectDocumented(frames["PipeRefused"], PipeNameMessage{"assets"}, MessageKind::PipeRefused);
    expectDocumented(frames["Request"], RequestMessage{"assets", 1, 7, "read", {4, 0, 4}},
                     "\xDE\xAD\0\xFF");
    expectDocumented(frames["RequestWithoutData"],
                     RequestMessage{"assets", 0, 0, "read hero.mesh", {}}, "");
    expectDocumented(frames["Response"], ResponseMessage{"assets", 1, "ok", {6, 4, 2}}, "\xBE\xEF");
    expectDocumented(frames["Notify"], NotifyMessage{"assets", 2, 9, {5, 0, 5}}, "saved");
    expectDocumented(frames["Redirect"], RedirectMessage{"127.0.0.1", 3500});
}

TEST(PipeMessages, CutShortAnywhereAreRefusedWhole)
{
    expectWholeOnly<dm::OpenPipeMessage>(openPipe("pipe"));
    expectWholeOnly<dm::PipeNameMessage>(pipeOpened("pipe"));
    expectWholeOnly<dm::RedirectMessage>(redirect("host", 80));
    expectWholeOnly<dm::WelcomeMessage>(welcome());
    expectWholeOnly<dm::NotifyMessage>(notify("pipe", 1, "hi"));
    // The sizes of a request may be missing altogether.
    expectWholeOnly<dm::RequestMessage>(request("pipe", 1, "text", "data"), 16);
    expectWholeOnly<dm::ResponseMessage>(response("pipe", 1, "text", "data"));
}

TEST(PipeMessages, TheVersionIsHeardWhateverElseAnotherVersionSays)
{
    dm::WelcomeMessage message;
    EXPECT_TRUE(decode(welcome(1, 3).payload().substr(0, 8), message));
    EXPECT_EQ(message.protocolVersion, 3u);
    EXPECT_STREQ(message.serverManagerName, "");
}

TEST(PipeMessages, OfAServerAreReadByProbesWholeOrNotAtAll)
{
    using Kind = dm::PipeServerMessage::Kind;
    const std::pair<WireMessage, Kind> said[] = {{welcome(), Kind::Welcome},
                                                 {redirect("host", 80), Kind::Redirect},
                                                 {redirect("host", ~0u), Kind::Other},
                                                 {pipeOpened("pipe"), Kind::PipeOpened},
                                                 {openPipe("pipe"), Kind::Other}};
    for (const auto& [wire, kind] : said) {
        const std::string payload = wire.payload();
        ReceivedPacket whole(payload);
        ReceivedPacket cut(payload.substr(0, payload.size() - 1));
        ReceivedPacket foreign(payload, dm::kPipePacketId + 1);
        EXPECT_EQ(dm::readPipeServerMessage(*whole).kind, kind) << wire;
        EXPECT_EQ(dm::readPipeServerMessage(*cut).kind, Kind::Other) << wire;
        EXPECT_EQ(dm::readPipeServerMessage(*foreign).kind, Kind::Other) << wire;
    }
}

TEST(PipeMessages, NamesAreLimited)
{
    const std::string tooLong(1025, 'n');
    dm::OpenPipeMessage open;
    EXPECT_TRUE(decode(openPipe(tooLong.substr(1)).payload(), open));
    EXPECT_FALSE(decode(openPipe(tooLong).payload(), open));
    EXPECT_FALSE(decode(openPipe("pipe", tooLong).payload(), open));
    dm::RequestMessage asking;
    EXPECT_FALSE(decode(request(tooLong, 0, "").payload(), asking));
}
