#include "tools/dm/Text.h"

#include <algorithm>
#include <cstdint>

namespace tool {

namespace {

void appendEscaped(std::string& out, unsigned char byte)
{
    constexpr char kDigits[] = "0123456789abcdef";
    if (byte == '\n')
        out += "\\n";
    else if (byte == '\t')
        out += "\\t";
    else
        out.append("\\x").append(1, kDigits[byte >> 4]).append(1, kDigits[byte & 15]);
}

std::string escape(std::string_view text, std::string_view harmless)
{
    std::string out;
    out.reserve(text.size());
    for (size_t at = 0; at < text.size();) {
        const size_t length = utf8Length(text, at);
        const std::string_view character = text.substr(at, std::max<size_t>(length, 1));
        const bool isControl = length == 0 || isUtf8Control(text, at) ||
                               static_cast<unsigned char>(text[at]) < 0x20 || text[at] == 0x7F;
        if (!isControl || harmless.find(text[at]) != std::string_view::npos)
            out += character;
        else
            for (const char byte : character)
                appendEscaped(out, static_cast<unsigned char>(byte));
        at += character.size();
    }
    return out;
}

} // namespace

size_t utf8Length(std::string_view text, size_t at)
{
    const auto byteAt = [&](size_t place) {
        return static_cast<unsigned char>(place < text.size() ? text[place] : 0);
    };
    const unsigned char first = byteAt(at);
    if (first < 0x80)
        return 1;
    const size_t length = first < 0xE0 ? 2 : first < 0xF0 ? 3 : 4;
    if (first < 0xC2 || first > 0xF4)
        return 0;
    for (size_t i = 1; i < length; ++i)
        if ((byteAt(at + i) & 0xC0) != 0x80)
            return 0;
    // Too long for what they say, a half of a pair, or beyond the last.
    const unsigned char second = byteAt(at + 1);
    const bool isWrong = (first == 0xE0 && second < 0xA0) || (first == 0xED && second >= 0xA0) ||
                         (first == 0xF0 && second < 0x90) || (first == 0xF4 && second >= 0x90);
    return isWrong ? 0 : length;
}

bool isUtf8Control(std::string_view text, size_t at)
{
    return text.substr(at, 1) == "\xC2" && at + 1 < text.size() &&
           static_cast<unsigned char>(text[at + 1]) >= 0x80 &&
           static_cast<unsigned char>(text[at + 1]) < 0xA0;
}

std::string escapeControls(std::string_view text) { return escape(text, ""); }

std::string escapeForTerminal(std::string_view text) { return escape(text, "\n\t"); }

std::string joinWords(const std::vector<std::string>& words)
{
    std::string text;
    for (const std::string& word : words)
        text += (text.empty() ? "" : " ") + word;
    return text;
}

std::string toBase64(const void* data, size_t size)
{
    constexpr char kDigits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    const auto* const bytes = static_cast<const unsigned char*>(data);
    std::string out;
    out.reserve((size + 2) / 3 * 4);
    for (size_t at = 0; at < size; at += 3) {
        const size_t left = size - at;
        const std::uint32_t group = static_cast<std::uint32_t>(
            bytes[at] << 16 | (left > 1 ? bytes[at + 1] << 8 : 0) | (left > 2 ? bytes[at + 2] : 0));
        out += kDigits[group >> 18];
        out += kDigits[group >> 12 & 63];
        out += left > 1 ? kDigits[group >> 6 & 63] : '=';
        out += left > 2 ? kDigits[group & 63] : '=';
    }
    return out;
}

} // namespace tool
