#include "tools/fileserver/ListAnswer.h"

#include <dm/fs.h>

#include <array>
#include <charconv>
#include <utility>

namespace fileserver {

namespace {

/// What games read of a name or path.
constexpr size_t kMaxNameBytes = 511;

/// A list has fewer than a million entries, since none is shorter than a byte and its zero.
constexpr size_t kMaxCountBytes = sizeof "999999";
static_assert(dm::NetworkFileSystem::kMaxListBytes / 2 < 1000000);

/// Numbers with a blank behind each.
class Numbers
{
public:
    Numbers& operator<<(zu::u64 number)
    {
        end = std::to_chars(end, characters.data() + characters.size(), number).ptr;
        *end++ = ' ';
        return *this;
    }
    operator std::string_view() const
    {
        return {characters.data(), static_cast<size_t>(end - characters.data())};
    }

private:
    std::array<char, 64> characters; // three of 20 digits, and blanks
    char* end = characters.data();
};

} // namespace

bool ListAnswer::addFile(bool isDirectory, zu::u64 size, zu::u64 time, std::string_view name)
{
    return !isReadable(name) ||
           append(Numbers() << (isDirectory ? 1u : 0u) << size << time, "\"", name, "\"");
}

bool ListAnswer::addPath(std::string_view path)
{
    return !isReadable(path) || append("0 ", "\"", path, "\"");
}

bool ListAnswer::addFolder(std::string_view name, std::string_view hostPath)
{
    return append(name, hostPath.empty() ? "" : ",", hostPath, "");
}

bool ListAnswer::isReadable(std::string_view name)
{
    if (name.size() <= kMaxNameBytes && name.find('"') == name.npos)
        return true;
    ++unreadable;
    return false;
}

bool ListAnswer::append(std::string_view head, std::string_view before, std::string_view text,
                        std::string_view after)
{
    const size_t bytes = head.size() + before.size() + text.size() + after.size() + 1;
    cut = cut || kMaxCountBytes + entries.size() + bytes > dm::NetworkFileSystem::kMaxListBytes;
    if (cut)
        return false;
    for (const std::string_view part : {head, before, text, after})
        entries.insert(entries.end(), part.begin(), part.end());
    entries.push_back('\0');
    ++count;
    return true;
}

std::vector<char> ListAnswer::take()
{
    std::array<char, kMaxCountBytes> text{};
    char* const end = std::to_chars(text.data(), text.data() + text.size() - 1, count).ptr;
    std::vector<char> list;
    list.reserve(entries.size() + text.size());
    list.assign(text.data(), end + 1);
    list.insert(list.end(), entries.begin(), entries.end());
    *this = ListAnswer();
    return list;
}

} // namespace fileserver
