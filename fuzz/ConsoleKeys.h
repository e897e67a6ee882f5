/// What the fuzzer and the tests run on arbitrary bytes.
#pragma once

#include <cstddef>
#include <cstdint>

namespace fuzz {

/// Plays the bytes as a script to a console that nobody sees and that keeps nothing; aborts when it
/// draws what it may not.
///
///     text, line ends, tabs, Backspace and Escape   are typed
///     1 to 7                                        alt, control, shift with the next key
///     11 to 25                                      other keys, in the order of kKeys
///     28 to 31                                      what the host does, with the bytes that follow
///
/// The executor takes "alias NAME TEXT", without check; "check NAME TEXT", as a host should do it;
/// "bind CHARACTER TEXT", "word WORD", "function WORD", "forget WORD" (none: all), "run TEXT",
/// "clear" and "close". Anything else it prints.
void playConsoleKeys(const std::uint8_t* data, size_t size);

} // namespace fuzz
