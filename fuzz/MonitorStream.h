/// What the fuzzer and the tests run on arbitrary bytes.
#pragma once

#include <cstddef>
#include <cstdint>

namespace fuzz {

/// Reads the bytes as the stream of a tool's packets, and those packets also as a tool would;
/// aborts when a packet says what it may not.
void checkMonitorStream(const std::uint8_t* data, size_t size);

} // namespace fuzz
