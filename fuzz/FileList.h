/// What the fuzzer and the tests run on arbitrary bytes.
#pragma once

#include <cstddef>
#include <cstdint>

namespace fuzz {

/// Reads the bytes as each of a file server's lists and as each of its short answers; aborts when
/// that gives more than the bytes can hold.
void checkFileList(const std::uint8_t* data, size_t size);

} // namespace fuzz
