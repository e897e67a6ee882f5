#include "tools/dm/Sha256.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <utility>

namespace tool {

namespace {

using State = std::array<std::uint32_t, 8>;

// The first 64 primes' cube roots: the first 32 bits behind the point.
std::array<std::uint32_t, 64> makeRoundConstants()
{
    std::array<std::uint32_t, 64> constants{};
    std::size_t found = 0;
    for (unsigned candidate = 2; found < constants.size(); ++candidate) {
        bool isPrime = true;
        for (unsigned divisor = 2; divisor * divisor <= candidate; ++divisor)
            isPrime = isPrime && candidate % divisor != 0;
        if (!isPrime)
            continue;
        const long double root = std::cbrt(static_cast<long double>(candidate));
        constants[found++] = static_cast<std::uint32_t>((root - std::floor(root)) * 0x1p32L);
    }
    return constants;
}

void addBlock(State& state, const unsigned char* block)
{
    static const std::array<std::uint32_t, 64> s_constants = makeRoundConstants();
    std::array<std::uint32_t, 64> words;
    for (std::size_t at = 0; at < 16; ++at) {
        const unsigned char* const bytes = block + 4 * at;
        words[at] = static_cast<std::uint32_t>(bytes[0]) << 24 |
                    static_cast<std::uint32_t>(bytes[1]) << 16 |
                    static_cast<std::uint32_t>(bytes[2]) << 8 | bytes[3];
    }
    for (std::size_t at = 16; at < words.size(); ++at) {
        const std::uint32_t far = words[at - 15];
        const std::uint32_t near = words[at - 2];
        words[at] = words[at - 16] + words[at - 7] +
                    (std::rotr(far, 7) ^ std::rotr(far, 18) ^ far >> 3) +
                    (std::rotr(near, 17) ^ std::rotr(near, 19) ^ near >> 10);
    }
    auto [a, b, c, d, e, f, g, h] = state;
    for (std::size_t at = 0; at < words.size(); ++at) {
        const std::uint32_t first = h + (std::rotr(e, 6) ^ std::rotr(e, 11) ^ std::rotr(e, 25)) +
                                    ((e & f) ^ (~e & g)) + s_constants[at] + words[at];
        const std::uint32_t second =
            (std::rotr(a, 2) ^ std::rotr(a, 13) ^ std::rotr(a, 22)) + ((a & b) ^ (a & c) ^ (b & c));
        h = std::exchange(g, std::exchange(f, std::exchange(e, d + first)));
        d = std::exchange(c, std::exchange(b, std::exchange(a, first + second)));
    }
    const State mixed = {a, b, c, d, e, f, g, h};
    for (std::size_t at = 0; at < state.size(); ++at)
        state[at] += mixed[at];
}

} // namespace

void Sha256::add(const void* data, std::size_t size)
{
    const auto* bytes = static_cast<const unsigned char*>(data);
    totalBytes += size;
    while (size != 0) {
        if (restBytes == 0 && size >= kBlockBytes) {
            addBlock(state, bytes);
            bytes += kBlockBytes;
            size -= kBlockBytes;
            continue;
        }
        const std::size_t taken = std::min(size, kBlockBytes - restBytes);
        std::memcpy(rest.data() + restBytes, bytes, taken);
        restBytes += taken;
        bytes += taken;
        size -= taken;
        if (restBytes == kBlockBytes) {
            addBlock(state, rest.data());
            restBytes = 0;
        }
    }
}

// What follows the bytes: a one bit, zeros up to the end of a block, and there the length in bits.
std::string Sha256::finish()
{
    constexpr unsigned char kEnd[kBlockBytes] = {0x80};
    const std::uint64_t bits = totalBytes * 8;
    add(kEnd, 1);
    while (restBytes != kBlockBytes - 8)
        add(kEnd + 1, 1);
    std::array<unsigned char, 8> length;
    for (std::size_t at = 0; at < length.size(); ++at)
        length[at] = static_cast<unsigned char>(bits >> 8 * (length.size() - 1 - at));
    add(length.data(), length.size());

    std::string digits;
    for (const std::uint32_t word : state)
        for (int shift = 28; shift >= 0; shift -= 4)
            digits += "0123456789abcdef"[word >> shift & 15];
    return digits;
}

std::string sha256(const void* data, std::size_t size)
{
    Sha256 hash;
    hash.add(data, size);
    return hash.finish();
}

} // namespace tool
