// What a peer calls a path, judged and put into one form before any system sees it. No I/O.
#pragma once

#include <string>
#include <string_view>

namespace zu {

enum class PathFault
{
    None,
    TooLong,
    TooDeep,
    Absolute,
    Drive,
    ServerName,
    ParentFolder,
    ControlCharacter,
    NotUtf8,
    NameTooLong,
    NoName, // for those who need one: normalisePath gives ""
    // Only of portable names:
    ReservedName,
    ReservedCharacter,
    TrailingDotOrBlank
};

enum class NameRule
{
    Any,     // what this system can store
    Portable // what every system can store, and takes for the same name
};

inline constexpr size_t kMaxPathBytes = 4095;
inline constexpr size_t kMaxNameBytes = 255;
inline constexpr size_t kMaxPathNames = 128;

// Gives the names of the path with one '/' between any two: "" for the folder that it is relative
// to. Untouched when the path is refused. What it gives is accepted again and stays the same.
PathFault normalisePath(std::string_view path, NameRule rule, std::string& outPath);

// Whether a single name, of a folder's entry say, can be part of an accepted path.
bool isAcceptedName(std::string_view name, NameRule rule);

// What is wrong, for a person. Never null.
const char* describe(PathFault fault);

} // namespace zu
