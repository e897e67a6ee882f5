#include "tools/fileserver/CaseDoctor.h"

#include "tools/fileserver/GamePaths.h"

#include <functional>

namespace fileserver {

bool CaseDoctor::examine(std::string_view mapName, const zu::ConfinedFolder& folder,
                         std::string_view path, std::string& outPath)
{
    const size_t salt = std::hash<std::string_view>()(mapName);
    if (!isNew(salt, path))
        return false;
    // What was to be made is not there in any case, but its folder may be.
    const std::string_view above = folderOf(path);
    return folder.findOtherCase(path, outPath) ||
           (!above.empty() && folder.findOtherCase(above, outPath));
}

bool CaseDoctor::isNew(size_t salt, std::string_view text)
{
    const auto now = std::chrono::steady_clock::now();
    const size_t hash = std::hash<std::string_view>()(text) ^ (salt + 0x9E3779B97F4A7C15u);
    std::lock_guard guard(lock);
    if (now - since >= kPause || recent.size() >= kMaxPaths) {
        recent.clear();
        since = now;
    }
    return recent.insert(hash).second;
}

} // namespace fileserver
