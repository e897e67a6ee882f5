/// The folders of this machine that games see, and under which names.
#pragma once

#include <zul/ConfinedFolder.h>

#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace fileserver {

/// One folder, as the user asks for it.
struct MapSpec
{
    std::string name;
    std::string folder; ///< a path of this machine
    bool isWritable = false;
};

/// What a game can keep of a name.
inline constexpr std::size_t kMaxMapNameBytes = 127;

/// Reads "NAME=DIR" or "NAME=DIR:rw". DIR is all between the first '=' and the ":rw" at the very
/// end: it may hold both. False, and why in outError (one line, no full stop), when it is no map.
bool parseMap(std::string_view text, MapSpec& out, std::string& outError);

/// A folder and its name.
///
/// Threads: any, all at once.
class FolderMap
{
public:
    using Folder = std::shared_ptr<const zu::ConfinedFolder>; // users outlive a reopening

    FolderMap(const MapSpec& mapping, const zu::ConfinedFolder::Options& options, Folder opened);

    const std::string& getName() const { return name; }
    std::string_view getPlainName() const;                      ///< without a separator at its end
    const std::string& getHostPath() const { return hostPath; } ///< never for games to know
    bool isWritable() const { return writable; }

    /// The opened folder; stays open for whoever has it.
    Folder getFolder() const;

    /// Opens the folder anew for one who found that `gone` is: null when there is none any more.
    ///
    ///   outIsNews   whether this is the first to find so since it was there.
    Folder reopen(const Folder& gone, bool& outIsNews);

    /// Whether the path is this folder's; outRest is what follows the name.
    bool contains(std::string_view path, std::string_view& outRest) const;

private:
    const std::string name;
    const std::string hostPath;
    const bool writable;
    const zu::ConfinedFolder::Options options;

    mutable std::mutex lock;
    Folder folder;       // under lock, never null
    bool isLost = false; // under lock
};

/// All maps, in the order in which they were added.
///
/// Threads: any, once all are added.
class FolderMaps
{
public:
    explicit FolderMaps(const zu::ConfinedFolder::Options& openOptions)
        : options(openOptions)
    {
    }
    FolderMaps(const FolderMaps&) = delete;
    FolderMaps& operator=(const FolderMaps&) = delete;

    /// Opens one more. False, and why in outError, when its name is taken or its folder cannot be
    /// opened.
    bool add(const MapSpec& mapping, std::string& outError);

    /// Whose path it is: of the map with the longest name that it begins with. Letter case and the
    /// kind of slash make no difference, and the name ends where one of the path's does. Null when
    /// it is nobody's. outRest is what follows the name, without separators at its front.
    FolderMap* resolve(std::string_view path, std::string_view& outRest) const;

    const zu::ConfinedFolder::Options& getOptions() const { return options; }
    const std::vector<std::unique_ptr<FolderMap>>& getAll() const { return maps; }
    bool areAllReadOnly() const { return !anyWritable; }

private:
    const zu::ConfinedFolder::Options options;
    std::vector<std::unique_ptr<FolderMap>> maps;
    bool anyWritable = false;
};

} // namespace fileserver
