#include "tools/fileserver/FolderMaps.h"

#include "tools/fileserver/GamePaths.h"

#include <algorithm>
#include <filesystem>
#include <system_error>
#include <utility>

namespace fileserver {

namespace {

/// The same for all ways to write a character of a name.
char fold(char character) { return isSeparator(character) ? '/' : toLower(character); }

bool isControl(char character)
{
    return static_cast<unsigned char>(character) < 0x20 || character == 0x7F;
}

/// Why a name is none; null if it is one.
const char* judgeName(std::string_view name)
{
    if (name.empty())
        return "NAME is missing";
    if (name.size() > kMaxMapNameBytes)
        return "NAME is longer than the 127 bytes that games keep of it";
    // Games end the name at the first comma, and a path at a quote.
    if (name.find_first_of(",\"") != name.npos)
        return "NAME has a comma or a quote in it, which games could not read";
    if (std::any_of(name.begin(), name.end(), isControl))
        return "NAME has a control character in it";
    return nullptr;
}

std::string_view withoutEnd(std::string_view name)
{
    return isSeparator(name.back()) ? name.substr(0, name.size() - 1) : name;
}

bool startsWith(std::string_view path, std::string_view name)
{
    return path.size() >= name.size() &&
           std::equal(name.begin(), name.end(), path.begin(),
                      [](char left, char right) { return fold(left) == fold(right); });
}

/// For people: where the folder is, whatever the directory we run in.
std::string absolutePath(const std::string& folder)
{
    std::error_code error;
    const auto absolute = std::filesystem::absolute(folder, error);
    return error ? folder : absolute.string();
}

} // namespace

bool parseMap(std::string_view text, MapSpec& out, std::string& outError)
{
    constexpr std::string_view kWritable = ":rw";
    const size_t middle = text.find('=');
    if (middle == text.npos) {
        outError = "NAME=DIR or NAME=DIR:rw is needed";
        return false;
    }
    const std::string_view name = text.substr(0, middle);
    std::string_view folder = text.substr(middle + 1);
    const bool isWritable = folder.ends_with(kWritable);
    if (isWritable)
        folder.remove_suffix(kWritable.size());
    const char* error = judgeName(name);
    if (error == nullptr && folder.empty())
        error = "DIR is missing";
    if (error != nullptr) {
        outError = error;
        return false;
    }
    out = {std::string(name), std::string(folder), isWritable};
    return true;
}

FolderMap::FolderMap(const MapSpec& mapping, const zu::ConfinedFolder::Options& openOptions,
                     Folder opened)
    : name(mapping.name)
    , hostPath(absolutePath(mapping.folder))
    , writable(mapping.isWritable)
    , options(openOptions)
    , folder(std::move(opened))
{
}

std::string_view FolderMap::getPlainName() const { return withoutEnd(name); }

FolderMap::Folder FolderMap::getFolder() const
{
    std::lock_guard guard(lock);
    return folder;
}

FolderMap::Folder FolderMap::reopen(const Folder& gone, bool& outIsNews)
{
    std::lock_guard guard(lock);
    outIsNews = false;
    if (folder != gone)
        return folder; // another was faster
    zu::ConfinedFolder::Outcome outcome;
    Folder opened = zu::ConfinedFolder::open(hostPath.c_str(), options, outcome);
    if (opened)
        folder = opened;
    outIsNews = !opened && !isLost;
    isLost = !opened;
    return opened;
}

bool FolderMap::contains(std::string_view path, std::string_view& outRest) const
{
    // A name that ends in a separator is also the folder without it.
    const std::string_view plain = getPlainName();
    if (path.empty() || !startsWith(path, plain))
        return false;
    std::string_view rest = path.substr(plain.size());
    if (!rest.empty() && !isSeparator(rest.front()))
        return false;
    while (!rest.empty() && isSeparator(rest.front()))
        rest.remove_prefix(1);
    outRest = rest;
    return true;
}

bool FolderMaps::add(const MapSpec& mapping, std::string& outError)
{
    const std::string_view plain = withoutEnd(mapping.name);
    for (const auto& map : maps) {
        const std::string_view other = map->getPlainName();
        if (other.size() == plain.size() && startsWith(other, plain)) {
            outError = "the name \"" + mapping.name + "\" is taken by " + map->getHostPath();
            return false;
        }
    }
    zu::ConfinedFolder::Outcome outcome;
    FolderMap::Folder folder = zu::ConfinedFolder::open(mapping.folder.c_str(), options, outcome);
    if (!folder) {
        outError = "cannot open the folder " + mapping.folder + ": " + outcome.getText();
        return false;
    }
    maps.push_back(std::make_unique<FolderMap>(mapping, options, std::move(folder)));
    anyWritable = anyWritable || mapping.isWritable;
    return true;
}

FolderMap* FolderMaps::resolve(std::string_view path, std::string_view& outRest) const
{
    FolderMap* best = nullptr;
    size_t bestLength = 0;
    for (const auto& map : maps) {
        const size_t length = map->getPlainName().size();
        std::string_view rest;
        if ((best == nullptr || length > bestLength) && map->contains(path, rest)) {
            best = map.get();
            bestLength = length;
            outRest = rest;
        }
    }
    return best;
}

} // namespace fileserver
