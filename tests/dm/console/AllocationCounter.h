/// Counts what a program takes from the heap. Not in builds with a sanitizer, which brings its own.
#pragma once

namespace support {

/// Blocks that this thread has taken so far; always 0 with a sanitizer.
unsigned long long allocationsOfThisThread();

} // namespace support
