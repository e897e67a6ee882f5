// A held folder and operations that cannot leave it: what a platform supplies for
// zu::ConfinedFolder.
//
// An Outcome's detail is the number under which std::system_category knows the error. Paths have
// gone through normalisePath (PortablePath.h): '/' between names, none of them ".." or
// ".", "" for the folder itself. A system that reads more into a name than its bytes (drives,
// streams behind ':', trailing dots) refuses such names here, as Error::BadPath.
//
// No check may come before the use that it is for: somebody swaps links in between. What is judged
// is an open handle, or a name relative to one whose last step does not follow links. What failed
// changed nothing. What each operation does, and Error::Gone, is as in <zul/ConfinedFolder.h>.
#pragma once

#include <zul/ConfinedFolder.h>
#include <zul/Types.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace zu {

struct NativeFolderEntry
{
    std::string name;
    ConfinedFolder::Info info; // isReadOnly is not asked for
};

struct NativeFolderListing
{
    std::vector<NativeFolderEntry> entries; // in any order

    // Tell folders apart, whatever their names.
    u64 disk = 0;
    u64 number = 0;
};

class NativeConfinedFolder
{
public:
    using Outcome = ConfinedFolder::Outcome;

    // Whether an entry is to be looked at more closely, given what can be had for nothing. It may
    // be a folder when the system does not tell, or for a link.
    using Wanted = std::function<bool(const std::string& name, bool mayBeDirectory)>;

    static std::unique_ptr<NativeConfinedFolder> open(const char* hostPath,
                                                      ConfinedFolder::Links links,
                                                      ConfinedFolder::Lookup lookup,
                                                      Outcome& outOutcome);

    ~NativeConfinedFolder();
    NativeConfinedFolder(const NativeConfinedFolder&) = delete;
    NativeConfinedFolder& operator=(const NativeConfinedFolder&) = delete;

    ConfinedFolder::Lookup getLookup() const { return lookup; }

    Outcome getInfo(const std::string& path, ConfinedFolder::Info& outInfo,
                    ConfinedFolder::Rights rights) const;
    Outcome read(const std::string& path, u64 position, void* buffer, u64 count,
                 u64& outBytes) const;
    Outcome write(const std::string& path, u64 position, const void* data, u64 count) const;
    Outcome replaceFile(const std::string& path, const void* data, u64 count) const;
    Outcome copyFile(const NativeConfinedFolder& target, const std::string& from,
                     const std::string& to, const ConfinedFolder::GoOn& goOn) const;
    Outcome rename(const NativeConfinedFolder& target, const std::string& from,
                   const std::string& to) const;
    // The same, and between two disks by copying a file and removing it.
    Outcome move(const NativeConfinedFolder& target, const std::string& from, const std::string& to,
                 const ConfinedFolder::GoOn& goOn) const;
    Outcome removeFile(const std::string& path) const;
    Outcome makeDirectory(const std::string& path) const;
    Outcome removeDirectory(const std::string& path) const;

    // An opened file, which whoever asks for it closes.
    Outcome openFile(const std::string& path, std::intptr_t& outFile, u64& outSize) const;
    static Outcome readFile(std::intptr_t file, u64 position, void* buffer, u64 count,
                            u64& outBytes);
    static void closeFile(std::intptr_t file);

    // Replaces the listing. Entries that go meanwhile are left out.
    Outcome list(const std::string& path, const Wanted& wanted,
                 NativeFolderListing& outListing) const;

private:
    NativeConfinedFolder(std::intptr_t openHandle, ConfinedFolder::Links linkRule,
                         ConfinedFolder::Lookup lookupInUse)
        : handle(openHandle)
        , links(linkRule)
        , lookup(lookupInUse)
    {
    }

    Outcome judge(Outcome outcome) const;
    Outcome judgeRefusal(const std::string& path, Outcome outcome) const;
    Outcome makeFile(const std::string& path, u64 position, const void* data, u64 count) const;

    const std::intptr_t handle;
    const ConfinedFolder::Links links;
    const ConfinedFolder::Lookup lookup;
};

} // namespace zu
