// What NativeConfinedFolder.cpp does to single files and entries, once they have been looked up.
#pragma once

#include "zul/posix/BeneathLookup.h"
#include "zul/posix/FileSupport.h"

#include <zul/ConfinedFolder.h>
#include <zul/Types.h>

#include <string>
#include <sys/stat.h>

namespace zu::posix {

inline constexpr mode_t kNewFilePermissions = 0666; // less what the user masks

using Outcome = ConfinedFolder::Outcome;

Outcome outcomeFrom(int error);

// Where an entry stands or is to stand: what is done to it by name follows no link.
struct Place
{
    Descriptor folder;
    std::string name;
};

Outcome findPlace(const BeneathRoot& root, const std::string& path, Place& outPlace);
bool getEntryStatus(const Place& place, struct stat& outStatus);

// Whether it is a regular file that must not be written.
bool isReadOnlyFile(int descriptor, const struct stat& status);

Outcome judgeFile(const struct stat& status); // links, pipes, folders and so on are none

// Whether an entry may go away, or make way for another if it exists: only a file that is not
// read-only may, and a link where links count for something.
Outcome judgeRemoval(const Place& place, ConfinedFolder::Links links);
Outcome judgeReplacement(const Place& place, ConfinedFolder::Links links);

// Opens a file to be read; or says why not, also when it is no file.
Outcome openFile(const BeneathRoot& root, const std::string& path, Descriptor& outFile,
                 struct stat& outStatus);

bool canFileHave(u64 position, u64 count);

// All of it, or the file is as it was.
Outcome writeExactly(int file, u64 position, const void* data, u64 count);

// Links are judged by the rule of the folder that each place is in.
Outcome renamePlace(const Place& from, ConfinedFolder::Links fromLinks, const Place& to,
                    ConfinedFolder::Links toLinks);

// Whether a rename failed only because it would have led to another disk.
bool isOnOtherDisk(const Outcome& outcome);

// Copies an opened file, of that status, to a place where it may stand.
Outcome copyToPlace(int source, const struct stat& status, const Place& to, CopyPurpose purpose,
                    const ConfinedFolder::GoOn& goOn);

// What renamePlace could not do: copies a file and then removes it.
Outcome moveToOtherDisk(const Place& from, const Place& to, const ConfinedFolder::GoOn& goOn);

// A new file in the folder of the one that it is to replace; goes away unless it does. The place
// is lent.
class Replacement
{
public:
    Replacement(const Place& target, mode_t permissions);
    ~Replacement();
    Replacement(const Replacement&) = delete;
    Replacement& operator=(const Replacement&) = delete;

    bool isOpen() const { return file.isOpen(); }
    int getFile() const { return file.get(); }
    bool take(); // false, and errno, when that fails

private:
    const Place& place;
    std::string name;
    Descriptor file;
    bool exists = false;
};

} // namespace zu::posix
