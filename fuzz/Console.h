/// What the console's fuzzers and the tests run on arbitrary bytes; aborts when that gives what
/// cannot be.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>

namespace fuzz {

inline void require(bool holds)
{
    if (!holds)
        std::abort();
}

/// Cuts, colours and wraps the bytes from the third on, as wide as the first two say: words, runs
/// and rows must give the text back.
void checkConsoleText(const std::uint8_t* data, size_t size);

/// Reads the bytes as the console's cache file and uses what came of it.
void checkConsoleCache(const std::uint8_t* data, size_t size);

/// Plays the bytes as a script to a console that nobody sees and that keeps nothing.
///
///     text, line ends, tabs, Backspace and Escape   are typed
///     1 to 7                                        alt, control, shift with the next key
///     11 to 25                                      other keys, in the order of kKeys
///     28 to 31                                      what the host does, with the bytes that follow
///
/// The executor takes "alias NAME TEXT", "bind CHARACTER TEXT", "word WORD", "function WORD",
/// "forget WORD" (none: all), "run TEXT", "clear" and "close". Anything else it prints.
void playConsoleKeys(const std::uint8_t* data, size_t size);

} // namespace fuzz
