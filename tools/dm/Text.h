#pragma once

#include <zul/String.h>

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace tool {

inline std::string toStdString(const zu::String& text)
{
    return std::string(text.c_str(), text.length());
}

/// What came from another program, made harmless for a terminal and for output of one line a
/// message: control characters, also those in UTF-8, and bytes that are no UTF-8 are spelled out as
/// \n, \t or \xNN.
std::string escapeControls(std::string_view text);

/// The same, but leaves line ends and tabs alone.
std::string escapeForTerminal(std::string_view text);

/// How many bytes the character at this place has, 1 to 4; 0 if it is not UTF-8.
size_t utf8Length(std::string_view text, size_t at);

/// Whether the character there is one of U+0080 to U+009F, which terminals obey like escape
/// sequences.
bool isUtf8Control(std::string_view text, size_t at);

/// With a blank between them.
std::string joinWords(const std::vector<std::string>& words);

/// Standard base64 with padding.
std::string toBase64(const void* data, size_t size);

} // namespace tool
