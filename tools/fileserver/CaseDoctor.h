/// Finds out when a name was not found only because of its letter case.
#pragma once

#include <zul/ConfinedFolder.h>

#include <chrono>
#include <mutex>
#include <string>
#include <string_view>
#include <unordered_set>

namespace fileserver {

/// Looking for other letter case reads folders, and games ask for files that are not there by the
/// thousand. So each path is examined, and told of, once in a while only.
///
/// Threads: any.
class CaseDoctor
{
public:
    /// How long a path is not examined again.
    static constexpr std::chrono::seconds kPause{10};

    /// Paths remembered at a time.
    static constexpr size_t kMaxPaths = 16384;

    /// Whether the path, which was not found in the folder, or at least the folder that it leads
    /// to exists there in other letter case, as outPath. False as well when it was examined a
    /// moment ago.
    ///
    ///   mapName   tells the folders apart.
    bool examine(std::string_view mapName, const zu::ConfinedFolder& folder, std::string_view path,
                 std::string& outPath);

private:
    bool isNew(size_t salt, std::string_view text);

    std::mutex lock;
    std::unordered_set<size_t> recent;           // hashes; under lock
    std::chrono::steady_clock::time_point since; // under lock
};

} // namespace fileserver
