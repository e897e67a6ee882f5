/// What the fuzzer and the tests run on arbitrary bytes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace fuzz {

/// Decodes a stream of pipe messages that arrives in pieces of `pieceBytes` and puts them together.
/// Returns an account of what was made of it, which must not depend on the pieces.
std::string runPipeStream(const std::uint8_t* data, size_t size, size_t pieceBytes);

/// The same in pieces of several sizes; aborts when the accounts differ.
void checkPipeStream(const std::uint8_t* data, size_t size);

} // namespace fuzz
