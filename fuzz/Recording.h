/// What the fuzzer and the tests run on arbitrary bytes.
#pragma once

#include <cstddef>
#include <cstdint>

namespace fuzz {

/// Reads the bytes as a recording, and as what stands in a record with the right checksum; aborts
/// when that gives what cannot be.
void checkRecording(const std::uint8_t* data, size_t size);

} // namespace fuzz
