#pragma once

#include <zul/String.h>

#include <cstddef>
#include <string>
#include <string_view>

namespace tool {

inline std::string toStdString(const zu::String& text)
{
    return std::string(text.c_str(), text.length());
}

/// What came from another program, made harmless for a terminal and for output of one line a
/// message: control characters, also those in UTF-8, are spelled out as \n, \t or \xNN.
std::string escapeControls(std::string_view text);

/// The same, but leaves line ends and tabs alone.
std::string escapeForTerminal(std::string_view text);

/// Standard base64 with padding.
std::string toBase64(const void* data, size_t size);

} // namespace tool
