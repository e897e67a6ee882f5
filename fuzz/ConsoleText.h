/// What the fuzzer and the tests run on arbitrary bytes.
#pragma once

#include <cstddef>
#include <cstdint>

namespace fuzz {

/// Cuts, colours and wraps the bytes from the third on, as wide as the first two say; aborts when
/// words, runs or rows do not give the text back.
void checkConsoleText(const std::uint8_t* data, size_t size);

} // namespace fuzz
