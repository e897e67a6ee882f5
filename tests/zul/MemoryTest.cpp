#include <zul/Exception.h>
#include <zul/Memory.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <gtest/gtest.h>
#include <limits>
#include <thread>

namespace {

using zu::ZeroedBuffer;

constexpr zu::u64 kGiB = 1ull << 30;

TEST(Memory, AlignsAsAskedAndFreesOnAnyThread)
{
    for (size_t align = 1; align <= 0x10000; align *= 2)
        for (const size_t size : {size_t(0), size_t(1), size_t(0x10000)}) {
            void* memory = zu::allocateMemory(size, align);
            EXPECT_EQ(reinterpret_cast<uintptr_t>(memory) % align, 0u);
            std::memset(memory, 1, size);
            std::thread([memory] { zu::deleteMemory(memory); }).join();
        }
    zu::deleteMemory(nullptr);
}

TEST(Memory, ThrowsWhenThereIsNone)
{
    const size_t tooMuch = std::numeric_limits<size_t>::max() / 2 + 1;
    EXPECT_THROW(zu::deleteMemory(zu::allocateMemory(tooMuch)), zu::Exception);
    EXPECT_THROW(zu::deleteMemory(zu::allocateMemory(tooMuch, 0x10000)), zu::Exception);
    // 2^62 + 1 elements of 8 bytes would wrap to 8 bytes.
    EXPECT_THROW(zu::Allocator<double>().allocate((size_t(1) << 62) + 1), zu::Exception);
}

TEST(ZeroedBuffer, ReadsAsZeroOnBothSidesOfTheMappingLimit)
{
    for (const zu::u64 size : {1u, 65535u, 65536u, 65537u, 1000000u})
        for (int round = 0; round < 3; ++round) // the second finds what the first has written
        {
            ZeroedBuffer buffer = ZeroedBuffer::tryAllocate(size);
            ASSERT_EQ(buffer.size(), size);
            EXPECT_TRUE(std::all_of(buffer.data(), buffer.data() + size,
                                    [](zu::u8 byte) { return byte == 0; }));
            std::memset(buffer.data(), 0xFF, size);
        }
}

TEST(ZeroedBuffer, PromisesMoreThanTheMachineHas)
{
    std::vector<ZeroedBuffer> buffers;
    for (int i = 0; i < 64; ++i) {
        buffers.push_back(ZeroedBuffer::tryAllocate(4 * kGiB - 1));
        ASSERT_NE(buffers.back().data(), nullptr) << i;
        buffers.back().data()[4 * kGiB - 2] = 1;
    }
    EXPECT_EQ(ZeroedBuffer::tryAllocate(std::numeric_limits<zu::u64>::max() / 2).data(), nullptr);
}

} // namespace
