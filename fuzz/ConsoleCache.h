/// What the fuzzer and the tests run on arbitrary bytes.
#pragma once

#include <cstddef>
#include <cstdint>

namespace fuzz {

/// Reads the bytes as the console's cache file and uses what came of it; aborts when that gives
/// what cannot be.
void checkConsoleCache(const std::uint8_t* data, size_t size);

} // namespace fuzz
