#pragma once

#include <zul/Memory.h>

#include <cstdint>
#include <string>

namespace tool {

/// Room for the data of any answer, 4 GiB - 1 bytes; memory is taken only as bytes arrive. A system
/// that does not lend so much on credit gets asked for less. Throws std::bad_alloc when it lends
/// next to nothing.
zu::ZeroedBuffer allocateForAnyAnswer();

/// Throws ToolError when an answer of so many bytes was cut, so that the file it was to become is
/// not written.
void requireFits(std::uint64_t answerBytes, const zu::ZeroedBuffer& buffer,
                 const std::string& path);

} // namespace tool
