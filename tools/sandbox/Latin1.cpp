#include "tools/sandbox/Latin1.h"

namespace sandbox {

namespace {

bool isContinuation(unsigned char byte) { return (byte & 0xC0u) == 0x80u; }

/// Bytes of the sequence that begins so; 1 for what begins none.
size_t sequenceLength(unsigned char first)
{
    if (first >= 0xF0u && first < 0xF8u)
        return 4;
    if (first >= 0xE0u && first < 0xF0u)
        return 3;
    return first >= 0xC2u && first < 0xE0u ? 2 : 1;
}

} // namespace

std::string toLatin1(std::string_view utf8)
{
    std::string out;
    out.reserve(utf8.size());
    for (size_t at = 0; at < utf8.size();) {
        const auto first = static_cast<unsigned char>(utf8[at]);
        const size_t expected = sequenceLength(first);
        size_t length = 1;
        while (length < expected && at + length < utf8.size() &&
               isContinuation(static_cast<unsigned char>(utf8[at + length])))
            ++length;
        if (first < 0x80u)
            out += static_cast<char>(first);
        else if (length == 2 && first <= 0xC3u)
            out += static_cast<char>((first & 3u) << 6 |
                                     (static_cast<unsigned char>(utf8[at + 1]) & 0x3Fu));
        else
            out += '?';
        at += length;
    }
    return out;
}

std::string toUtf8(std::string_view latin1)
{
    std::string out;
    out.reserve(latin1.size());
    for (const char character : latin1) {
        const auto byte = static_cast<unsigned char>(character);
        if (byte < 0x80u) {
            out += character;
        } else {
            out += static_cast<char>(0xC0u | byte >> 6);
            out += static_cast<char>(0x80u | (byte & 0x3Fu));
        }
    }
    return out;
}

} // namespace sandbox
