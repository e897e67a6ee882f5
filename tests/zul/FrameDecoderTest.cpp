#include "zul/common/FrameDecoder.h"

#include "support/WireMessage.h"

#include <cstring>
#include <gtest/gtest.h>
#include <random>

using net::Frame;
using net::FrameDecoder;
using net::u32;
using net::u8;
using support::frameOf;
using Status = net::FrameDecoder::Status;

// Feeds as many of the bytes as fit, at most limit. Returns how many.
static std::size_t feed(FrameDecoder& decoder, std::string_view bytes, std::size_t limit = ~0u)
{
    std::size_t fed = 0;
    while (fed < std::min(bytes.size(), limit)) {
        auto space = decoder.space();
        std::size_t count = std::min({space.size(), bytes.size() - fed, limit - fed});
        if (count == 0)
            break;
        std::memcpy(space.data(), bytes.data() + fed, count);
        decoder.commit(static_cast<u32>(count));
        fed += count;
    }
    return fed;
}

static std::string take(FrameDecoder& decoder)
{
    Frame found;
    if (decoder.next(found) != Status::Complete)
        return "none";
    return std::to_string(found.id) + ":" +
           std::string(reinterpret_cast<char*>(found.payload), found.payloadBytes);
}

TEST(FrameDecoder, RefusesForeignBytesAsSoonAsTheyShow)
{
    std::string tooLong = frameOf("", 1);
    net::store32(reinterpret_cast<u8*>(tooLong.data()) + 4, net::kMaxPayloadBytes + 1);
    for (std::string bytes :
         {std::string("G"), std::string("\x16"), std::string("\xD5\x03"), tooLong}) {
        FrameDecoder decoder;
        feed(decoder, frameOf("before", 1) + bytes.substr(0, bytes.size() - 1));
        EXPECT_EQ(take(decoder), "1:before");
        EXPECT_EQ(decoder.status(), Status::Incomplete);
        feed(decoder, bytes.substr(bytes.size() - 1));
        EXPECT_EQ(decoder.status(), Status::Malformed);
        EXPECT_EQ(take(decoder), "none");
    }
}

TEST(FrameDecoder, CommitsMemoryAsBytesArriveNotAsAnnounced)
{
    std::string large = frameOf(std::string(net::kMaxPayloadBytes, 'l'), 1);
    FrameDecoder decoder;
    feed(decoder, large.substr(0, 100));
    EXPECT_LE(decoder.capacity(), 16u * 1024);
    feed(decoder, large.substr(100));
    EXPECT_LE(decoder.capacity(), 2 * large.size());
    EXPECT_EQ(take(decoder).size(), 2u + net::kMaxPayloadBytes);
    EXPECT_EQ(take(decoder), "none");
    decoder.trim();
    EXPECT_EQ(decoder.capacity(), 0u);
}

TEST(FrameDecoder, KeepsTheLastFrameWhileTheStreamGoesOn)
{
    FrameDecoder decoder;
    feed(decoder, frameOf(std::string(9000, 'k'), 1));
    Frame kept;
    ASSERT_EQ(decoder.next(kept), Status::Complete);
    // Fills, moves and replaces the block several times, then gives it up.
    feed(decoder, frameOf(std::string(300000, 'f'), 2));
    EXPECT_EQ(kept.payload[0], 'k');
    decoder.clear();
    feed(decoder, frameOf(std::string(40000, 'g'), 3));
    decoder.trim();
    EXPECT_EQ(std::string(reinterpret_cast<char*>(kept.payload), kept.payloadBytes),
              std::string(9000, 'k'));
    EXPECT_EQ(take(decoder).substr(0, 4), "3:gg");
}

TEST(FrameDecoder, DeliversAStreamUnchangedHoweverItIsSplit)
{
    std::mt19937 random(20240611);
    std::string stream, expected;
    for (u32 id : {0u, 1u, 65535u, 3u, 4u, 5u, 6u, 7u}) {
        std::string payload(id % 4 ? random() % 50 : random() % 100000 * (id / 4), 'x');
        stream += frameOf(payload, id);
        expected += std::to_string(id) + ":" + payload;
    }
    for (u32 step : {1u, 3u, 8u, 50u, 3000u, 300000u}) {
        FrameDecoder decoder;
        std::string found;
        for (std::size_t fed = 0; fed < stream.size() || decoder.status() == Status::Complete;) {
            fed += feed(decoder, std::string_view(stream).substr(fed), random() % step + 1);
            for (auto polls = random() % 8; polls > 0; polls--)
                if (std::string next = take(decoder); next != "none")
                    found += next;
        }
        EXPECT_EQ(found == expected, true) << "steps up to " << step;
        EXPECT_LE(decoder.capacity(), 256u * 1024);
    }
}
