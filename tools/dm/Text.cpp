#include "tools/dm/Text.h"

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

// U+0080 to U+009F, which terminals obey like escape sequences, are C2 80 to C2 9F in UTF-8.
bool isUtf8Control(std::string_view text, size_t at)
{
    return static_cast<unsigned char>(text[at]) == 0xC2 && at + 1 < text.size() &&
           static_cast<unsigned char>(text[at + 1]) >= 0x80 &&
           static_cast<unsigned char>(text[at + 1]) < 0xA0;
}

std::string escape(std::string_view text, std::string_view harmless)
{
    std::string out;
    out.reserve(text.size());
    for (size_t at = 0; at < text.size(); ++at) {
        const auto byte = static_cast<unsigned char>(text[at]);
        const bool isControl = byte < 0x20 || byte == 0x7F;
        if (isControl && harmless.find(text[at]) == std::string_view::npos)
            appendEscaped(out, byte);
        else if (isUtf8Control(text, at)) {
            appendEscaped(out, byte);
            appendEscaped(out, static_cast<unsigned char>(text[++at]));
        } else
            out += text[at];
    }
    return out;
}

} // namespace

std::string escapeControls(std::string_view text) { return escape(text, ""); }

std::string escapeForTerminal(std::string_view text) { return escape(text, "\n\t"); }

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
