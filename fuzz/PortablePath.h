/// What the fuzzer and the tests run on arbitrary bytes.
#pragma once

#include <cstddef>
#include <cstdint>

namespace fuzz {

/// Judges the bytes as a path by both rules; aborts when what is accepted could lead anywhere but
/// down, or means something else when judged again.
void checkPortablePath(const std::uint8_t* data, size_t size);

} // namespace fuzz
