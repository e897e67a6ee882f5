#include "tools/sandbox/DataFolder.h"

#include <zul/File.h>
#include <zul/FileSystem.h>

#include <SDL.h>
#include <filesystem>
#include <random>

namespace sandbox {

namespace {

std::string makeTemporaryFolder()
{
    std::error_code error;
    const std::filesystem::path folder = std::filesystem::temp_directory_path(error) /
                                         ("dm-sandbox-" + std::to_string(std::random_device()()));
    const bool isOurs = std::filesystem::create_directory(folder, error); // so it is removed later
    return isOurs ? folder.string() : std::string();
}

std::string userFolder()
{
    char* const path = SDL_GetPrefPath("dm", "sandbox");
    const std::string folder = path ? path : "";
    SDL_free(path);
    return folder;
}

} // namespace

DataFolder::DataFolder(const std::string& wanted, bool isHeadless)
{
    if (wanted.empty() && isHeadless)
        temporary = makeTemporaryFolder();
    const std::string folder = !wanted.empty() ? wanted : isHeadless ? temporary : userFolder();
    zu::File::setFileSystemReadOnly(folder.empty());
    zu::File::setFileSysPathForWrite(folder.c_str());
}

DataFolder::~DataFolder()
{
    std::error_code ignored;
    if (!temporary.empty())
        std::filesystem::remove_all(temporary, ignored);
}

std::unique_ptr<dm::Console> openConsole(dm::ShapeEngineInterface& shapes, float margin,
                                         std::string& notice)
{
    try {
        return std::make_unique<dm::Console>(&shapes, margin);
    } catch (const zu::Exception& error) {
        const std::string cache =
            std::string(zu::File::getFileSysPathForWrite()) + "consolecache.bin";
        const std::string aside = cache + ".bad";
        if (!zu::FileSystem::get().moveFile(cache.c_str(), aside.c_str(), true))
            throw;
        notice = "The console's old lines could not be read (" + std::string(error.what()) +
                 ").\nTheir file is now " + aside + "; this is a fresh start.";
    }
    return std::make_unique<dm::Console>(&shapes, margin);
}

} // namespace sandbox
