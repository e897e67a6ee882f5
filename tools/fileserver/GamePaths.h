/// Paths as games write them: both slashes separate names. No I/O.
#pragma once

#include <string_view>

namespace fileserver {

inline constexpr std::string_view kSeparators = "/\\";

inline bool isSeparator(char character) { return kSeparators.find(character) != kSeparators.npos; }

/// What stands before the last separator; "" without one.
inline std::string_view folderOf(std::string_view path)
{
    const size_t separator = path.find_last_of(kSeparators);
    return separator != path.npos ? path.substr(0, separator) : std::string_view();
}

/// What follows the last separator; all of it without one.
inline std::string_view nameOf(std::string_view path)
{
    return path.substr(path.find_last_of(kSeparators) + 1); // npos + 1 is 0
}

inline bool endsInSeparator(std::string_view path)
{
    return !path.empty() && isSeparator(path.back());
}

inline char toLower(char character)
{
    return character >= 'A' && character <= 'Z' ? static_cast<char>(character + ('a' - 'A'))
                                                : character;
}

} // namespace fileserver
