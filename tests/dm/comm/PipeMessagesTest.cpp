#include "dm/comm/PipeMessages.h"

#include "support/ReceivedPacket.h"
#include "support/WireMessage.h"

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <map>
#include <sstream>
#include <string>
#include <vector>

using namespace support;

namespace {

template <typename Message>
bool decodes(net::Packet& packet)
{
    Message message;
    return dm::decode(packet, packet.getSize(), message);
}

bool decodes(const std::string& payload)
{
    net::Packet packet(dm::kPipePacketId);
    packet.write(payload.data(), static_cast<dm::uint32>(payload.size()));
    packet.setPos(0);
    switch (dm::readKind(packet)) {
    case dm::MessageKind::OpenPipe:
        return decodes<dm::OpenPipeMessage>(packet);
    case dm::MessageKind::PipeOpened:
    case dm::MessageKind::PipeRefused:
        return decodes<dm::PipeNameMessage>(packet);
    case dm::MessageKind::Request:
        return decodes<dm::RequestMessage>(packet);
    case dm::MessageKind::Response:
        return decodes<dm::ResponseMessage>(packet);
    case dm::MessageKind::Notify:
        return decodes<dm::NotifyMessage>(packet);
    case dm::MessageKind::Redirect:
        return decodes<dm::RedirectMessage>(packet);
    case dm::MessageKind::Welcome:
        return decodes<dm::WelcomeMessage>(packet);
    }
    return false;
}

std::map<std::string, std::string> documentedFrames()
{
    const auto root = std::filesystem::path(__FILE__).parent_path() / "../../..";
    std::ifstream file(root / "docs/protocol/pipes.md");
    std::map<std::string, std::string> frames;
    std::string* frame = nullptr;
    for (std::string line, previous; std::getline(file, line); previous = line) {
        if (previous == "```hex")
            frame = &frames[line.substr(line.find_first_not_of("# "))];
        else if (line == "```")
            frame = nullptr;
        std::istringstream bytes(line.substr(0, line.find('#')));
        for (unsigned byte = 0; frame && bytes >> std::hex >> byte;)
            *frame += static_cast<char>(byte);
    }
    return frames;
}

std::string frameBytes(const net::Packet& packet)
{
    net::u32 size = 0;
    const net::u8* bytes = net::PacketAccess::frameBytes(packet, size);
    return {reinterpret_cast<const char*>(bytes), size};
}

/// Encodes the message, and once more what is decoded of that: both must be the bytes documented.
template <typename Message, typename Encode>
void expectDocumented(const std::string& documented, const Message& message, Encode encode)
{
    net::Packet packet(dm::kPipePacketId);
    encode(packet, message);
    EXPECT_EQ(testing::PrintToString(frameBytes(packet)), testing::PrintToString(documented));

    ReceivedPacket received(std::string_view(documented).substr(net::kFrameHeaderBytes));
    Message decoded;
    dm::readKind(*received);
    ASSERT_TRUE(dm::decode(*received, (*received).getSize(), decoded));
    net::Packet again(dm::kPipePacketId);
    encode(again, decoded);
    EXPECT_EQ(testing::PrintToString(frameBytes(again)), testing::PrintToString(documented));
}

} // namespace

TEST(PipeMessages, AreEncodedAndDecodedAsDocumented)
{
    auto frames = documentedFrames();
    ASSERT_EQ(frames.size(), 9u);
    auto plain = [](net::Packet& packet, const auto& message) { dm::encode(packet, message); };
    auto named = [](dm::MessageKind kind) {
        return [kind](net::Packet& packet, const dm::PipeNameMessage& message) {
            dm::encode(packet, kind, message);
        };
    };
    auto with = [](const char* payload) {
        return [payload](net::Packet& packet, const auto& message) {
            dm::encode(packet, message, payload);
        };
    };
    expectDocumented<dm::WelcomeMessage>(frames["Welcome"], {2, 0, "game"}, plain);
    expectDocumented<dm::OpenPipeMessage>(frames["OpenPipe"], {"assets", "tool"}, plain);
    expectDocumented<dm::PipeNameMessage>(frames["PipeOpened"], {"assets"},
                                          named(dm::MessageKind::PipeOpened));
    expectDocumented<dm::PipeNameMessage>(frames["PipeRefused"], {"assets"},
                                          named(dm::MessageKind::PipeRefused));
    expectDocumented<dm::RequestMessage>(frames["Request"], {"assets", 1, 7, "read", {4, 0, 4}},
                                         with("\xDE\xAD\0\xFF"));
    expectDocumented<dm::RequestMessage>(frames["RequestWithoutData"],
                                         {"assets", 0, 0, "read hero.mesh", {}}, with(""));
    expectDocumented<dm::ResponseMessage>(frames["Response"], {"assets", 1, "ok", {6, 4, 2}},
                                          with("....\xBE\xEF"));
    expectDocumented<dm::NotifyMessage>(frames["Notify"], {"assets", 2, 9, {5, 0, 5}},
                                        with("saved"));
    expectDocumented<dm::RedirectMessage>(frames["Redirect"], {"127.0.0.1", 3500}, plain);
}

TEST(PipeMessages, CutShortAnywhereAreRefusedWhole)
{
    const std::vector<WireMessage> all = {
        openPipe("pipe"),
        pipeOpened("pipe"),
        redirect("host", 80),
        welcome(),
        notify("pipe", 1, "hi"),
        request("pipe", 1, "text", "data"),
        response("pipe", 1, "text", "data"),
    };
    for (const WireMessage& message : all) {
        const std::string payload = message.payload();
        EXPECT_TRUE(decodes(payload)) << message;
        // The sizes of a request may be missing altogether.
        const size_t allowed = message.kind == WireMessage::Request ? payload.size() - 16 : 0;
        for (size_t size = 0; size < payload.size(); ++size) {
            const bool whole = size == allowed && size > 0;
            EXPECT_EQ(decodes(payload.substr(0, size)), whole) << message << " cut to " << size;
        }
    }
}

TEST(PipeMessages, NamesAreLimited)
{
    EXPECT_TRUE(decodes(openPipe(std::string(1024, 'n')).payload()));
    EXPECT_FALSE(decodes(openPipe(std::string(1025, 'n')).payload()));
    EXPECT_FALSE(decodes(openPipe("pipe", std::string(1025, 'n')).payload()));
    EXPECT_FALSE(decodes(request(std::string(1025, 'n'), 0, "").payload()));
}

TEST(PipeMessages, ALongTextLeavesRoomForAChunk)
{
    const std::string text(200 * 1024, 't');
    const std::string data(5000, 'd');
    dm::RequestMessage message;
    message.text = text.c_str();
    message.chunk.totalBytes = static_cast<dm::uint32>(data.size());
    for (dm::uint32& sent = message.chunk.offset; sent < data.size();) {
        net::Packet packet(dm::kPipePacketId);
        const dm::uint32 taken = dm::encode(packet, message, data.data());
        ASSERT_GE(taken, std::min<size_t>(1024, data.size() - sent));
        sent += taken;
    }
}
