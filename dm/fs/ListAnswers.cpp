#include "dm/fs/ListAnswers.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <utility>

namespace dm {

namespace {

constexpr size_t kNameBytes = 512; // with the terminator, as the formats below say

std::string_view takeText(std::string_view& rest)
{
    const size_t end = std::min(rest.find('\0'), rest.size());
    const std::string_view text = rest.substr(0, end);
    rest.remove_prefix(std::min(end + 1, rest.size()));
    return text;
}

/// Each entry has its zero, but for the last.
size_t countToReserve(std::string_view text, size_t remainingBytes)
{
    const long long claimed = std::strtoll(std::string(text).c_str(), nullptr, 10);
    const long long possible = static_cast<long long>(remainingBytes / 2 + 1);
    return static_cast<size_t>(std::clamp(claimed, 0ll, possible));
}

/// `read` makes an entry of a terminated text.
template <typename Entry, typename Read>
std::vector<Entry> readEntries(std::string_view list, Read read)
{
    std::vector<Entry> entries;
    const std::string_view count = takeText(list);
    entries.reserve(countToReserve(count, list.size()));
    std::string text; // terminated, which a text in the list may not be
    while (!list.empty()) {
        text = takeText(list);
        entries.push_back(read(text));
    }
    return entries;
}

} // namespace

std::vector<FileEntry> readFileEntries(std::string_view list)
{
    return readEntries<FileEntry>(list, [](const std::string& text) {
        FileEntry entry;
        int flag = 0;
        char name[kNameBytes] = "";
        std::sscanf(text.c_str(), "%i %llu %llu \"%511[^\"]", &flag, &entry.size, &entry.time,
                    name);
        entry.isDirectory = flag == 1;
        entry.name = name;
        return entry;
    });
}

std::vector<zu::String> readPathEntries(std::string_view list)
{
    return readEntries<zu::String>(list, [](const std::string& text) {
        int number = 0;
        char path[kNameBytes] = "";
        std::sscanf(text.c_str(), "%i \"%511[^\"]", &number, path);
        return zu::String(path);
    });
}

std::vector<zu::String> readMappedFolders(std::string_view list)
{
    return readEntries<zu::String>(list, [](const std::string& text) {
        const size_t length = std::min(text.find(','), text.size());
        return zu::String(text.c_str(), length);
    });
}

} // namespace dm
