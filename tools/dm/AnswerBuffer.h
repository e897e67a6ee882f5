#pragma once

#include <zul/Memory.h>

namespace tool {

/// Room for the data of any answer, 4 GiB - 1 bytes; memory is taken only as bytes arrive. A system
/// that does not lend so much on credit gets asked for less. Throws std::bad_alloc when it lends
/// next to nothing.
zu::ZeroedBuffer allocateForAnyAnswer();

} // namespace tool
