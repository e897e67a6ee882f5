/// What the fuzzer and the tests run on arbitrary bytes.
#pragma once

#include <cstddef>
#include <cstdint>

namespace fuzz {

/// Reads the bytes as a profile snapshot; aborts when it holds what cannot be.
void checkProfileSnapshot(const std::uint8_t* data, size_t size);

} // namespace fuzz
