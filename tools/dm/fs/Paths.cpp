#include "tools/dm/fs/Paths.h"

#include <zul/String.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>

namespace tool {

namespace {

// What a path may take at any server.
constexpr std::size_t kMaxPathBytes = 4095;

bool isControl(char character)
{
    const auto byte = static_cast<unsigned char>(character);
    return byte < 0x20 || byte == 0x7F;
}

bool contains(const MappedFolder& folder, std::string_view path)
{
    const std::string_view name = trimEnd(folder.name);
    if (path.size() < name.size() || zu::strnicmp(path.data(), name.data(), name.size()) != 0)
        return false;
    return name.empty() || path.size() == name.size() || isSeparator(path[name.size()]);
}

std::size_t findLastSeparator(std::string_view path) { return path.find_last_of("/\\"); }

} // namespace

std::vector<MappedFolder> readMappedFolders(std::string_view list)
{
    std::vector<MappedFolder> folders;
    bool isCount = true;
    while (!list.empty()) {
        const std::string_view text = list.substr(0, list.find('\0'));
        list.remove_prefix(std::min(text.size() + 1, list.size()));
        const std::size_t comma = std::min(text.find(','), text.size());
        if (!isCount)
            folders.push_back({std::string(text.substr(0, comma)),
                               std::string(text.substr(std::min(comma + 1, text.size())))});
        isCount = false;
    }
    return folders;
}

const MappedFolder* findMappedFolder(const std::vector<MappedFolder>& folders,
                                     std::string_view path)
{
    const MappedFolder* longest = nullptr;
    for (const MappedFolder& folder : folders) {
        if (contains(folder, path) &&
            (longest == nullptr || folder.name.size() > longest->name.size()))
            longest = &folder;
    }
    return longest;
}

std::string describe(const std::vector<MappedFolder>& folders)
{
    std::string text;
    for (const MappedFolder& folder : folders)
        text += (text.empty() ? "'" : ", '") + folder.name + "'";
    return text;
}

bool isSeparator(char character) { return character == '/' || character == '\\'; }

std::string join(std::string_view folder, std::string_view name)
{
    std::string path(trimEnd(folder));
    if (!path.empty())
        path += '/';
    return path.append(name);
}

std::string_view trimEnd(std::string_view path)
{
    while (!path.empty() && isSeparator(path.back()))
        path.remove_suffix(1);
    return path;
}

std::string_view lastName(std::string_view path)
{
    path = trimEnd(path);
    return path.substr(findLastSeparator(path) + 1); // from 0 on without one
}

std::string_view parentOf(std::string_view path)
{
    path = trimEnd(path);
    const std::size_t separator = findLastSeparator(path);
    return separator == path.npos ? std::string_view() : trimEnd(path.substr(0, separator));
}

bool isPlainName(std::string_view name)
{
    return !name.empty() && name != "." && name != ".." &&
           std::none_of(name.begin(), name.end(), [](char character) {
               return isSeparator(character) || isControl(character);
           });
}

std::string whyNotSendable(std::string_view path)
{
    if (path.empty())
        return "it is empty";
    if (path.size() > kMaxPathBytes)
        return "it is longer than " + std::to_string(kMaxPathBytes) + " bytes";
    if (path.find('"') != path.npos)
        return "file servers cannot be told a name with a double quote";
    if (std::any_of(path.begin(), path.end(), isControl))
        return "file servers take no control characters";
    return "";
}

std::string describeTime(std::uint64_t ticks)
{
    using namespace std::chrono;
    constexpr std::uint64_t kTicksPerSecond = 10'000'000;
    constexpr sys_days kStart = sys_days(year(1601) / January / 1);
    constexpr sys_days kEnd = sys_days(year(10000) / January / 1);
    constexpr auto kSeconds = static_cast<std::uint64_t>(seconds(kEnd - kStart).count());
    if (ticks == 0 || ticks / kTicksPerSecond >= kSeconds)
        return "";
    const sys_seconds time = kStart + seconds(ticks / kTicksPerSecond);
    const sys_days day = floor<days>(time);
    const year_month_day date = day;
    const hh_mm_ss clock(time - day);
    std::array<char, 64> text;
    std::snprintf(text.data(), text.size(), "%04d-%02u-%02uT%02d:%02d:%02dZ",
                  static_cast<int>(date.year()), static_cast<unsigned>(date.month()),
                  static_cast<unsigned>(date.day()), static_cast<int>(clock.hours().count()),
                  static_cast<int>(clock.minutes().count()),
                  static_cast<int>(clock.seconds().count()));
    return text.data();
}

} // namespace tool
