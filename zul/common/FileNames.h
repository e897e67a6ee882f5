// What is the same about names of files wherever they come from.
#pragma once

#include <zul/String.h>

#include <string_view>

namespace zu {

inline bool isPathSeparator(char character) { return character == '/' || character == '\\'; }

// The order of stricmp.
inline int compareNamesNoCase(std::string_view left, std::string_view right)
{
    return compareNoCase(left.data(), left.size(), right.data(), right.size());
}

// The order of listings: without regard to case; names that differ in it only, by their bytes.
inline bool isListedBefore(std::string_view left, std::string_view right)
{
    const int order = compareNamesNoCase(left, right);
    return order != 0 ? order < 0 : left < right;
}

} // namespace zu
