#pragma once

#include <dm/console.h>

#include <memory>
#include <string>

namespace sandbox {

/// Where the console keeps its lines: a folder of the user's, the one that is given, or for a
/// headless game one that goes with it, so that every run begins alike.
///
/// Sets the runtime's folder for writing. Where no folder can be had, nothing is kept.
class DataFolder
{
public:
    /// The folder, or "" for the user's.
    DataFolder(const std::string& wanted, bool isHeadless);
    ~DataFolder();
    DataFolder(const DataFolder&) = delete;
    DataFolder& operator=(const DataFolder&) = delete;

private:
    std::string temporary; // "" when there is nothing to remove
};

/// Makes the console. A cache that cannot be read is put aside, as consolecache.bin.bad; then
/// `notice` says so. Throws what the console threw when that cannot be done.
std::unique_ptr<dm::Console> openConsole(dm::ShapeEngineInterface& shapes, float margin,
                                         std::string& notice);

} // namespace sandbox
