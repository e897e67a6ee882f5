#include "zul/common/PortablePath.h"

#include "zul/common/FileNames.h"

#include <zul/Types.h>

#include <algorithm>
#include <utility>

namespace zu {

namespace {

bool isLetter(char character)
{
    return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z');
}

bool isEqualNoCase(std::string_view left, std::string_view right)
{
    return compareNamesNoCase(left, right) == 0;
}

// Takes one character off the front. False when the bytes are no UTF-8, which includes longer forms
// than needed (in which '/' could hide), surrogates and numbers past the last character.
bool takeCharacter(std::string_view& text, u32& outCharacter)
{
    constexpr u32 kSmallest[] = {0, 0x80, 0x800, 0x10000}; // by the number of bytes that follow
    const auto lead = static_cast<u8>(text.front());
    text.remove_prefix(1);
    if (lead < 0x80) {
        outCharacter = lead;
        return true;
    }
    if (lead < 0xC2 || lead > 0xF4)
        return false;
    const size_t following = lead < 0xE0 ? 1 : lead < 0xF0 ? 2 : 3;
    if (text.size() < following)
        return false;
    u32 character = lead & (0x3Fu >> following);
    for (size_t i = 0; i < following; ++i) {
        const auto next = static_cast<u8>(text[i]);
        if ((next & 0xC0) != 0x80)
            return false;
        character = character << 6 | (next & 0x3Fu);
    }
    text.remove_prefix(following);
    outCharacter = character;
    return character >= kSmallest[following] && character <= 0x10FFFF &&
           (character < 0xD800 || character > 0xDFFF);
}

PathFault judgeCharacters(std::string_view text)
{
    while (!text.empty()) {
        u32 character = 0;
        if (!takeCharacter(text, character))
            return PathFault::NotUtf8;
        // The second range as well: terminals that show a log obey those.
        if (character < 0x20 || (character >= 0x7F && character < 0xA0))
            return PathFault::ControlCharacter;
    }
    return PathFault::None;
}

// Names that mean devices in every folder, whatever follows the first dot: "nul", "Com1 .txt".
bool isReservedName(std::string_view name)
{
    std::string_view stem = name.substr(0, name.find('.'));
    stem = stem.substr(0, stem.find_last_not_of(' ') + 1);
    constexpr std::string_view kDevices[] = {"CON", "PRN", "AUX", "NUL", "CONIN$", "CONOUT$"};
    if (std::any_of(std::begin(kDevices), std::end(kDevices),
                    [&](std::string_view device) { return isEqualNoCase(stem, device); }))
        return true;
    const std::string_view port = stem.substr(0, 3);
    if (!isEqualNoCase(port, "COM") && !isEqualNoCase(port, "LPT"))
        return false;
    constexpr std::string_view kRaisedDigits[] = {"\xC2\xB9", "\xC2\xB2", "\xC2\xB3"};
    const std::string_view number = stem.substr(3);
    return (number.size() == 1 && number[0] >= '0' && number[0] <= '9') ||
           std::find(std::begin(kRaisedDigits), std::end(kRaisedDigits), number) !=
               std::end(kRaisedDigits);
}

PathFault judgePortably(std::string_view name)
{
    if (name.find_first_of("<>:\"|?*") != std::string_view::npos)
        return PathFault::ReservedCharacter;
    if (name.back() == '.' || name.back() == ' ')
        return PathFault::TrailingDotOrBlank;
    return isReservedName(name) ? PathFault::ReservedName : PathFault::None;
}

PathFault judgeName(std::string_view name, NameRule rule)
{
    if (name == "..")
        return PathFault::ParentFolder;
    if (name.size() > kMaxNameBytes)
        return PathFault::NameTooLong;
    return rule == NameRule::Portable ? judgePortably(name) : PathFault::None;
}

bool isDrive(std::string_view name)
{
    return name.size() >= 2 && isLetter(name[0]) && name[1] == ':';
}

// What does not depend on the single names.
PathFault judgeWhole(std::string_view path)
{
    if (path.size() > kMaxPathBytes)
        return PathFault::TooLong;
    if (!path.empty() && isPathSeparator(path[0]))
        return path.size() > 1 && isPathSeparator(path[1]) ? PathFault::ServerName
                                                           : PathFault::Absolute;
    return judgeCharacters(path);
}

} // namespace

PathFault normalisePath(std::string_view path, NameRule rule, std::string& outPath)
{
    PathFault fault = judgeWhole(path);
    std::string normal;
    size_t names = 0;
    while (fault == PathFault::None && !path.empty()) {
        const size_t length = static_cast<size_t>(
            std::find_if(path.begin(), path.end(), isPathSeparator) - path.begin());
        const std::string_view name = path.substr(0, length);
        path.remove_prefix(std::min(length + 1, path.size()));
        if (name.empty() || name == ".")
            continue;
        if (names == 0 && isDrive(name))
            return PathFault::Drive;
        if (++names > kMaxPathNames)
            return PathFault::TooDeep;
        fault = judgeName(name, rule);
        if (!normal.empty())
            normal += '/';
        normal += name;
    }
    if (fault == PathFault::None)
        outPath = std::move(normal);
    return fault;
}

bool isAcceptedName(std::string_view name, NameRule rule)
{
    return !name.empty() && name != "." &&
           std::none_of(name.begin(), name.end(), isPathSeparator) &&
           judgeCharacters(name) == PathFault::None && judgeName(name, rule) == PathFault::None;
}

const char* describe(PathFault fault)
{
    switch (fault) {
    case PathFault::None:
        return "";
    case PathFault::TooLong:
        return "the path is too long";
    case PathFault::TooDeep:
        return "the path has too many names";
    case PathFault::Absolute:
        return "the path is absolute";
    case PathFault::Drive:
        return "the path names a drive";
    case PathFault::ServerName:
        return "the path names a server";
    case PathFault::ParentFolder:
        return "the path contains \"..\"";
    case PathFault::ControlCharacter:
        return "the path contains a control character";
    case PathFault::NotUtf8:
        return "the path is not UTF-8";
    case PathFault::NameTooLong:
        return "a name in the path is too long";
    case PathFault::NoName:
        return "the path names the opened folder itself";
    case PathFault::ReservedName:
        return "a name in the path means a device on some systems";
    case PathFault::ReservedCharacter:
        return "a name in the path contains a character that some systems refuse";
    case PathFault::TrailingDotOrBlank:
        return "a name in the path ends in a dot or a blank";
    }
    return "the path is refused";
}

} // namespace zu
