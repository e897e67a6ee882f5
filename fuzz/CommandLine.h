/// What the fuzzer and the tests run on arbitrary bytes.
#pragma once

#include <cstddef>
#include <cstdint>

namespace fuzz {

/// Reads the first line as a game's command, with what follows as its data, and carries it out in
/// a folder of its own. Aborts when what was read does not print as the same line again, when what
/// lies beside the folder is told of or touched, or when the answer is none that the command can
/// have.
void checkCommandLine(const std::uint8_t* data, size_t size);

} // namespace fuzz
