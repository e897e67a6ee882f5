#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

namespace tool {

/// The SHA-256 of bytes that come piece by piece.
class Sha256
{
public:
    void add(const void* data, std::size_t size);

    /// Of all that was added, in lower-case hexadecimal digits, as sha256sum prints it. Once; last.
    std::string finish();

private:
    static constexpr std::size_t kBlockBytes = 64;

    std::array<std::uint32_t, 8> state = {0x6a09e667, 0xbb67ae85, 0x3c6ef372, 0xa54ff53a,
                                          0x510e527f, 0x9b05688c, 0x1f83d9ab, 0x5be0cd19};
    std::array<unsigned char, kBlockBytes> rest; // what has come of the next block
    std::size_t restBytes = 0;
    std::uint64_t totalBytes = 0;
};

std::string sha256(const void* data, std::size_t size);

} // namespace tool
