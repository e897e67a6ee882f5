#include "tools/demo/Sha256.h"

#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <utility>

namespace demo {

namespace {

constexpr std::size_t kBlockBytes = 64;
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

// What follows the last whole block: the rest, a one bit, zeros and the length in bits.
void addEnd(State& state, const unsigned char* rest, std::size_t restBytes, std::uint64_t bits)
{
    std::array<unsigned char, 2 * kBlockBytes> blocks{};
    if (restBytes != 0)
        std::memcpy(blocks.data(), rest, restBytes);
    blocks[restBytes] = 0x80;
    const std::size_t end = restBytes + 9 <= kBlockBytes ? kBlockBytes : 2 * kBlockBytes;
    for (std::size_t at = 0; at < 8; ++at)
        blocks[end - 1 - at] = static_cast<unsigned char>(bits >> 8 * at);
    for (std::size_t at = 0; at < end; at += kBlockBytes)
        addBlock(state, blocks.data() + at);
}

} // namespace

std::string sha256(const void* data, std::size_t size)
{
    State state = {0x6a09e667, 0xbb67ae85, 0x3c6ef372, 0xa54ff53a,
                   0x510e527f, 0x9b05688c, 0x1f83d9ab, 0x5be0cd19};
    const auto* const bytes = static_cast<const unsigned char*>(data);
    const std::size_t whole = size / kBlockBytes * kBlockBytes;
    for (std::size_t at = 0; at < whole; at += kBlockBytes)
        addBlock(state, bytes + at);
    addEnd(state, bytes + whole, size - whole, std::uint64_t{size} * 8);

    std::string digits;
    for (const std::uint32_t word : state)
        for (int shift = 28; shift >= 0; shift -= 4)
            digits += "0123456789abcdef"[word >> shift & 15];
    return digits;
}

} // namespace demo
