#include "zul/common/FileNames.h"
#include "zul/common/NativeConfinedFolder.h"
#include "zul/common/PortablePath.h"

#include <zul/ConfinedFolder.h>
#include <zul/FileSystem.h>
#include <zul/FileUtils.h>

#include <algorithm>
#include <set>
#include <system_error>
#include <utility>

namespace zu {

using Outcome = ConfinedFolder::Outcome;

namespace {

bool isBefore(const NativeFolderEntry& left, const NativeFolderEntry& right)
{
    return isListedBefore(left.name, right.name);
}

std::string join(const std::string& folder, const std::string& name)
{
    return folder.empty() ? name : folder + '/' + name;
}

NameRule ruleOf(const ConfinedFolder::Options& options)
{
    return options.names == ConfinedFolder::Names::Portable ? NameRule::Portable : NameRule::Any;
}

// One list or walk.
class Search
{
public:
    Search(const NativeConfinedFolder& searched, NameRule nameRule, const char* pattern,
           const ConfinedFolder::Visitor& entryVisitor, const ConfinedFolder::GoOn& folderGoOn)
        : folder(searched)
        , rule(nameRule)
        , wildcard(pattern != nullptr ? pattern : "*")
        , visitor(entryVisitor)
        , goOn(folderGoOn)
    {
    }

    // Visits what is in the folder, whose entries' paths begin with prefix, and so many levels of
    // folders below it.
    Outcome run(const std::string& path, const std::string& prefix, u32 levelsBelow)
    {
        if (goOn && !goOn()) {
            isStopped = true;
            return {ConfinedFolder::Error::Stopped};
        }
        NativeFolderListing listing;
        const Outcome outcome = folder.list(
            path,
            [&](const std::string& name, bool mayBeDirectory) {
                return isAcceptedName(name, rule) &&
                       (matches(name) || (levelsBelow != 0 && mayBeDirectory));
            },
            listing);
        if (!outcome.succeeded() || !entered.emplace(listing.disk, listing.number).second)
            return outcome;
        std::sort(listing.entries.begin(), listing.entries.end(), isBefore);
        for (const NativeFolderEntry& entry : listing.entries)
            if (matches(entry.name) && !visit(join(prefix, entry.name), entry.info))
                return {};
        return levelsBelow != 0 ? runBelow(path, prefix, listing, levelsBelow - 1) : Outcome{};
    }

private:
    // Into each folder of the listing. What goes wrong there is no matter, but for being stopped.
    Outcome runBelow(const std::string& path, const std::string& prefix,
                     const NativeFolderListing& listing, u32 levelsBelow)
    {
        for (const NativeFolderEntry& entry : listing.entries) {
            if (!entry.info.isDirectory)
                continue;
            const Outcome outcome =
                run(join(path, entry.name), join(prefix, entry.name), levelsBelow);
            if (isStopped)
                return outcome;
        }
        return {};
    }

    bool matches(const std::string& name) const
    {
        return FileUtils::matchesWildcard(wildcard, name.c_str());
    }

    bool visit(std::string path, const ConfinedFolder::Info& info)
    {
        isStopped = !visitor({std::move(path), info.isDirectory, info.size, info.lastWrite});
        return !isStopped;
    }

    const NativeConfinedFolder& folder;
    const NameRule rule;
    const char* const wildcard;
    const ConfinedFolder::Visitor& visitor;
    const ConfinedFolder::GoOn& goOn;
    std::set<std::pair<u64, u64>> entered; // folders: links may lead to one again and again
    bool isStopped = false;
};

const char* describe(ConfinedFolder::Error error)
{
    using Error = ConfinedFolder::Error;
    switch (error) {
    case Error::None:
        return "";
    case Error::BadPath:
        return "the path is refused";
    case Error::Outside:
        return "the path leads through a symbolic link or out of the folder";
    case Error::NotFound:
        return "there is no such file or folder";
    case Error::Exists:
        return "there is something of that name already";
    case Error::WrongKind:
        return "it is of the wrong kind: a file, a folder, or neither";
    case Error::NotEmpty:
        return "the folder is not empty";
    case Error::ReadOnly:
        return "the file or its disk is protected from writing";
    case Error::Denied:
        return "the system denies it to this user";
    case Error::DiskFull:
        return "the disk is full";
    case Error::TooLarge:
        return "the file would become too large";
    case Error::Gone:
        return "the opened folder is gone";
    case Error::Stopped:
        return "it was given up";
    case Error::Failed:
        break;
    }
    return "the system failed";
}

} // namespace

std::string ConfinedFolder::Outcome::getText() const
{
    if (error == Error::BadPath)
        return zu::describe(static_cast<PathFault>(detail));
    const std::string text = describe(error);
    // What says less than the system does.
    if (error == Error::Denied || error == Error::Failed)
        return text + " (" + std::system_category().message(detail) + ')';
    return text;
}

std::unique_ptr<ConfinedFolder> ConfinedFolder::open(const char* hostPath, const Options& options,
                                                     Outcome& outOutcome)
{
    std::unique_ptr<NativeConfinedFolder> native =
        NativeConfinedFolder::open(hostPath, options.links, options.lookup, outOutcome);
    if (!native)
        return nullptr;
    return std::unique_ptr<ConfinedFolder>(new ConfinedFolder(std::move(native), options));
}

ConfinedFolder::ConfinedFolder(std::unique_ptr<NativeConfinedFolder> opened,
                               const Options& openOptions)
    : native(std::move(opened))
    , options(openOptions)
{
}

ConfinedFolder::~ConfinedFolder() = default;

ConfinedFolder::Lookup ConfinedFolder::getLookup() const { return native->getLookup(); }

// Turns a peer's path into the one to use.
Outcome ConfinedFolder::takePath(std::string_view path, std::string& outPath) const
{
    const PathFault fault = normalisePath(path, ruleOf(options), outPath);
    if (fault != PathFault::None)
        return {Error::BadPath, static_cast<int>(fault)};
    if (options.letterCase == LetterCase::Ignore)
        matchIgnoringCase(std::string(outPath), outPath);
    return {};
}

// The same for what the opened folder itself cannot be.
Outcome ConfinedFolder::takeName(std::string_view path, std::string& outPath) const
{
    const Outcome outcome = takePath(path, outPath);
    if (outcome.succeeded() && outPath.empty())
        return {Error::BadPath, static_cast<int>(PathFault::NoName)};
    return outcome;
}

// Replaces names that do not exist by those that differ in case only, as far as there are any. An
// exact name comes before all others. Whether the whole path exists so.
bool ConfinedFolder::matchIgnoringCase(const std::string& path, std::string& outPath) const
{
    const auto exists = [this](const std::string& some) {
        Info info;
        return native->getInfo(some, info, Rights::Ignored).error != Error::NotFound;
    };
    outPath = path;
    if (exists(path))
        return true;
    std::string match;
    for (size_t begin = 0; begin < path.size();) {
        const size_t end = std::min(path.find('/', begin), path.size());
        const std::string name = path.substr(begin, end - begin);
        if (exists(join(match, name)))
            match = join(match, name);
        else {
            NativeFolderListing listing;
            native->list(
                match,
                [&](const std::string& other, bool) {
                    return compareNamesNoCase(name, other) == 0;
                },
                listing);
            const auto first =
                std::min_element(listing.entries.begin(), listing.entries.end(), isBefore);
            if (first == listing.entries.end()) {
                outPath = join(match, path.substr(begin));
                return false;
            }
            match = join(match, first->name);
        }
        begin = end + 1;
    }
    outPath = match;
    return true;
}

Outcome ConfinedFolder::getInfo(std::string_view path, Info& outInfo, Rights rights) const
{
    std::string taken;
    const Outcome outcome = takePath(path, taken);
    return outcome.succeeded() ? native->getInfo(taken, outInfo, rights) : outcome;
}

Outcome ConfinedFolder::read(std::string_view path, u64 position, void* buffer, u64 count,
                             u64& outBytes) const
{
    outBytes = 0;
    std::string taken;
    const Outcome outcome = takeName(path, taken);
    return outcome.succeeded() ? native->read(taken, position, buffer, count, outBytes) : outcome;
}

Outcome ConfinedFolder::write(std::string_view path, u64 position, const void* data,
                              u64 count) const
{
    std::string taken;
    const Outcome outcome = takeName(path, taken);
    return outcome.succeeded() ? native->write(taken, position, data, count) : outcome;
}

Outcome ConfinedFolder::replaceFile(std::string_view path, const void* data, u64 count) const
{
    std::string taken;
    const Outcome outcome = takeName(path, taken);
    return outcome.succeeded() ? native->replaceFile(taken, data, count) : outcome;
}

Outcome ConfinedFolder::openFile(std::string_view path,
                                 std::unique_ptr<ConfinedFile>& outFile) const
{
    std::string taken;
    std::intptr_t handle = 0;
    u64 size = 0;
    Outcome outcome = takeName(path, taken);
    if (outcome.succeeded())
        outcome = native->openFile(taken, handle, size);
    if (outcome.succeeded())
        outFile.reset(new ConfinedFile(handle, size));
    return outcome;
}

ConfinedFile::~ConfinedFile() { NativeConfinedFolder::closeFile(handle); }

Outcome ConfinedFile::read(u64 position, void* buffer, u64 count, u64& outBytes) const
{
    return NativeConfinedFolder::readFile(handle, position, buffer, count, outBytes);
}

Outcome ConfinedFolder::copyFile(std::string_view from, std::string_view to) const
{
    return copyInto(*this, from, to);
}

Outcome ConfinedFolder::copyInto(const ConfinedFolder& target, std::string_view from,
                                 std::string_view to, const GoOn& goOn) const
{
    std::string source;
    std::string copy;
    Outcome outcome = takeName(from, source);
    if (outcome.succeeded())
        outcome = target.takeName(to, copy);
    return outcome.succeeded() ? native->copyFile(*target.native, source, copy, goOn) : outcome;
}

Outcome ConfinedFolder::takeNames(const ConfinedFolder& target, std::string_view from,
                                  std::string_view to, std::string& outFrom,
                                  std::string& outTo) const
{
    Outcome outcome = takeName(from, outFrom);
    if (outcome.succeeded())
        outcome = target.takeName(to, outTo);
    // Only the case of the name is to change: it was just taken for the old one.
    if (outcome.succeeded() && this == &target && outTo == outFrom) {
        normalisePath(to, ruleOf(options), outTo);
        outTo = outFrom.substr(0, outFrom.rfind('/') + 1) + outTo.substr(outTo.rfind('/') + 1);
    }
    return outcome;
}

Outcome ConfinedFolder::rename(std::string_view from, std::string_view to) const
{
    std::string source;
    std::string target;
    const Outcome outcome = takeNames(*this, from, to, source, target);
    return outcome.succeeded() ? native->rename(*native, source, target) : outcome;
}

Outcome ConfinedFolder::moveInto(const ConfinedFolder& target, std::string_view from,
                                 std::string_view to, const GoOn& goOn) const
{
    std::string source;
    std::string moved;
    const Outcome outcome = takeNames(target, from, to, source, moved);
    return outcome.succeeded() ? native->move(*target.native, source, moved, goOn) : outcome;
}

Outcome ConfinedFolder::removeFile(std::string_view path) const
{
    std::string taken;
    const Outcome outcome = takeName(path, taken);
    return outcome.succeeded() ? native->removeFile(taken) : outcome;
}

Outcome ConfinedFolder::makeDirectory(std::string_view path) const
{
    std::string taken;
    const Outcome outcome = takeName(path, taken);
    return outcome.succeeded() ? native->makeDirectory(taken) : outcome;
}

Outcome ConfinedFolder::removeDirectory(std::string_view path) const
{
    std::string taken;
    const Outcome outcome = takeName(path, taken);
    return outcome.succeeded() ? native->removeDirectory(taken) : outcome;
}

Outcome ConfinedFolder::list(std::string_view path, const char* wildcard,
                             const Visitor& visitor) const
{
    std::string taken;
    const Outcome outcome = takePath(path, taken);
    if (!outcome.succeeded())
        return outcome;
    return Search(*native, ruleOf(options), wildcard, visitor, {}).run(taken, "", 0);
}

Outcome ConfinedFolder::walk(std::string_view path, const char* wildcard, const Visitor& visitor,
                             const GoOn& goOn) const
{
    std::string taken;
    const Outcome outcome = takePath(path, taken);
    if (!outcome.succeeded())
        return outcome;
    return Search(*native, ruleOf(options), wildcard, visitor, goOn)
        .run(taken, "", FileSystem::kMaxFolderDepth);
}

bool ConfinedFolder::findOtherCase(std::string_view path, std::string& outPath) const
{
    std::string normal;
    std::string match;
    if (normalisePath(path, ruleOf(options), normal) != PathFault::None ||
        !matchIgnoringCase(normal, match) || match == normal)
        return false;
    outPath = match;
    return true;
}

} // namespace zu
