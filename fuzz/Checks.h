/// What the fuzzers and the tests run on arbitrary bytes, which are on the heap and end with their
/// block: a sanitizer sees what is read beyond them. Each aborts when that gives what cannot be.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string_view>

namespace fuzz {

inline void require(bool holds, const char* otherwise = "", std::string_view where = "")
{
    if (holds)
        return;
    std::fprintf(stderr, "%s: \"%.*s\"\n", otherwise, static_cast<int>(where.size()), where.data());
    std::abort();
}

/// Judges the bytes as a path by both rules: what is accepted leads down and nowhere else, and
/// means the same when it is judged again.
void checkPortablePath(const std::uint8_t* data, size_t size);

/// Reads the bytes as a profile snapshot.
void checkProfileSnapshot(const std::uint8_t* data, size_t size);

/// Decodes a stream of pipe messages that arrives in pieces, and puts them together: what comes of
/// it does not depend on the pieces.
void checkPipeStream(const std::uint8_t* data, size_t size);

/// Reads the bytes as each of a file server's lists and as each of its short answers, which give no
/// more than the bytes can hold.
void checkFileList(const std::uint8_t* data, size_t size);

/// Reads the first line as a game's command, with what follows as its data, and carries it out in
/// a folder of its own: what was read prints as the same line again, the answer is one that the
/// command can have, and what lies beside the folder is neither told of nor touched.
void checkCommandLine(const std::uint8_t* data, size_t size);

/// Reads the bytes as the stream of a tool's packets, and those packets also as a tool would.
void checkMonitorStream(const std::uint8_t* data, size_t size);

/// Reads the bytes as a recording, and as what stands in a record with the right checksum.
void checkRecording(const std::uint8_t* data, size_t size);

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
