/// The bytes of a list: its count and its entries, as many as a list may have. No I/O.
#pragma once

#include <zul/Types.h>

#include <string_view>
#include <vector>

namespace fileserver {

class ListAnswer
{
public:
    // Each adds an entry. False when it does not fit any more: the list is cut before it, and so
    // are all that come later. What no game could read back is left out and counted instead.

    bool addFile(bool isDirectory, zu::u64 size, zu::u64 time, std::string_view name);
    bool addPath(std::string_view path);
    /// Host path may be empty: it is left out then.
    bool addFolder(std::string_view name, std::string_view hostPath);

    bool isCut() const { return cut; }
    zu::u32 getCount() const { return count; }
    zu::u32 getUnreadable() const { return unreadable; } ///< names left out

    /// The whole list. Leaves the object empty.
    std::vector<char> take();

private:
    bool isReadable(std::string_view name);
    bool append(std::string_view head, std::string_view before, std::string_view text,
                std::string_view after);

    std::vector<char> entries;
    zu::u32 count = 0;
    zu::u32 unreadable = 0;
    bool cut = false;
};

} // namespace fileserver
