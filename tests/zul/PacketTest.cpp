#include "support/ReceivedPacket.h"
#include "support/SourceTree.h"

using net::Packet;
using net::u32;
using support::frameOf;
using support::ReceivedPacket;

TEST(Packet, IsWrittenAndReadAsDocumented)
{
    auto documented = support::documentedFrames("packet.md");
    ASSERT_EQ(documented.size(), 4u);
    EXPECT_EQ(frameOf(Packet(1)), documented["Empty"]);

    Packet integers(205);
    integers << 1 << -2 << 4000000000u;
    EXPECT_EQ(frameOf(integers), documented["Integers"]);
    ReceivedPacket readIntegers(documented["Integers"].substr(net::kFrameHeaderBytes));
    int one = 0, minusTwo = 0;
    unsigned big = 0;
    *readIntegers >> one >> minusTwo >> big;
    EXPECT_TRUE((*readIntegers).good() && one == 1 && minusTwo == -2 && big == 4000000000u);

    Packet texts(513);
    texts << "pipe" << static_cast<const char*>(nullptr);
    EXPECT_EQ(frameOf(texts), documented["Texts"]);
    ReceivedPacket readTexts(documented["Texts"].substr(net::kFrameHeaderBytes));
    const char *pipe = nullptr, *empty = nullptr;
    *readTexts >> pipe >> empty;
    EXPECT_TRUE((*readTexts).good());
    EXPECT_STREQ(pipe, "pipe");
    EXPECT_STREQ(empty, "");

    Packet bytes(65535), lending(65535);
    bytes << 7 << 3u;
    lending << 7 << 3u;
    EXPECT_EQ(bytes.write("\xAA\xBB\xCC", 3), 3u);
    EXPECT_EQ(lending.lend("\xAA\xBB\xCC", 3), 3u);
    EXPECT_EQ(frameOf(bytes), documented["Bytes"]);
    EXPECT_EQ(frameOf(lending), documented["Bytes"]);
}

TEST(Packet, ReadingPastTheEndFailsStickily)
{
    ReceivedPacket received(std::string("\1\0\0\0\2\0\0", 7));
    unsigned first = 9, second = 9, third = 9;
    *received >> first >> second;
    EXPECT_TRUE(first == 1 && second == 0);
    (*received).setPos(0);
    const char* text = nullptr;
    char byte = 'x';
    *received >> third >> text;
    EXPECT_EQ(third, 0u);
    EXPECT_STREQ(text, "");
    EXPECT_EQ((*received).read(&byte, 1), 0u);
    EXPECT_EQ((*received).bytesLeft(), 0u);
}

TEST(Packet, RefusesTextsThatAreNotInThePayload)
{
    // No terminator, another byte in its place, a length that wraps, empty without terminator.
    for (const std::string& payload :
         {std::string("\4\0\0\0abcd", 8), std::string("\3\0\0\0abcd", 8),
          std::string("\xff\xff\xff\xff\0", 5), std::string("\0\0\0\0", 4)})
    {
        ReceivedPacket received(payload);
        u32 length = 9;
        EXPECT_STREQ((*received).readText(length), "");
        EXPECT_EQ(length, 0u);
        EXPECT_FALSE((*received).good());
    }
}

TEST(Packet, TakesDataUpToTheNominalSizeAndAlwaysSome)
{
    std::string data(3 * net::kNominalPayloadBytes, 'd');
    auto size = static_cast<u32>(data.size());
    Packet packet(1);
    packet << "a text";
    EXPECT_EQ(packet.write(data.data(), 0), 0u);
    u32 first = packet.write(data.data(), size);
    EXPECT_EQ(packet.getSize(), net::kNominalPayloadBytes);
    EXPECT_LT(first, net::kNominalPayloadBytes);
    EXPECT_EQ(packet.write(data.data(), size), net::kMinimumChunkBytes);
    EXPECT_EQ(packet.lend(data.data(), 5), 5u);

    Packet crowded(1); // texts always fit
    crowded << data.c_str();
    EXPECT_EQ(crowded.getSize(), size + 5);
    EXPECT_GE(crowded.lend(data.data(), size), net::kMinimumChunkBytes);
    EXPECT_TRUE(crowded.good());
}

TEST(Packet, LentBytesAreReadAsOneWithItsOwnAndComeLast)
{
    Packet packet(1);
    packet.write("own", 3);
    packet.lend("lent", 4);
    char bytes[8] = {};
    packet.setPos(1);
    EXPECT_EQ(packet.view(4), nullptr);
    EXPECT_EQ(packet.read(bytes, 4), 4u);
    EXPECT_STREQ(bytes, "wnle");
    EXPECT_EQ(packet.read(bytes, 2), 2u);
    EXPECT_TRUE(packet.good());
    packet << 5;
    EXPECT_FALSE(packet.good());
    EXPECT_EQ(packet.getSize(), 7u);
}
