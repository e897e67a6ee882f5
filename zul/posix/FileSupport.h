// What the sources here that deal in files share.
#pragma once

#include "zul/common/NativeFile.h"

#include <functional>
#include <string>
#include <sys/stat.h>
#include <utility>

namespace zu::posix {

std::string toSystemPath(const char* path);

// Opens without waiting for the other end of a named pipe, and not for child processes. -1 when
// that fails.
int openDescriptor(const std::string& path, int flags, mode_t permissions = 0);

// False when the system reported an error, in which case bytes may be lost.
bool closeDescriptor(int descriptor);

// Closes what it owns, and leaves errno alone unless asked to close.
class Descriptor
{
public:
    explicit Descriptor(int owned = kNone)
        : number(owned)
    {
    }
    ~Descriptor() { abandon(); }
    Descriptor(Descriptor&& other) noexcept
        : number(std::exchange(other.number, kNone))
    {
    }
    Descriptor& operator=(Descriptor&& other) noexcept
    {
        if (this != &other) {
            abandon();
            number = std::exchange(other.number, kNone);
        }
        return *this;
    }

    bool isOpen() const { return number >= 0; }
    int get() const { return number; }
    int release() { return std::exchange(number, kNone); }
    bool close(); // false as closeDescriptor

private:
    void abandon();

    static constexpr int kNone = -1;
    int number;
};

// Transfer as much of count as there is or as fits, however many system calls that takes. After
// less than that errno is the reason, or 0 at the end of the file.
u64 readAt(int descriptor, void* data, u64 count, u64 position);
u64 writeAt(int descriptor, const void* data, u64 count, u64 position);

// From where both stand to the end of the first. False, and errno, when that fails; ECANCELED when
// goOn, which may be empty, says no.
bool copyBytes(int from, int to, const std::function<bool()>& goOn = {});

enum class CopyPurpose
{
    Copy,
    Move // the source will go: with its times, and on the disk before the name is
};

// Gives a copy, whose bytes are there, what else its source has. Disks without permissions or times
// refuse these, and the copy is none the worse. False, and errno, when it is to be on the disk and
// cannot be.
bool completeCopy(int copy, const struct stat& source, CopyPurpose purpose);

// Gives a file the permissions of another, as far as the disk has any.
void setPermissions(int file, const struct stat& model);

// A name for a file that takes another one's place once it is whole. May be left from a process
// killed in the middle.
std::string makeTemporaryName();

NativeFileInfo infoFromStatus(const struct stat& status);

// For setting times: 0 leaves a time as it is.
timespec timeFromTicks(u64 ticks);

bool isSame(const struct stat& first, const struct stat& second);

// Whether none of the permissions to write is set. The system would let the superuser write even
// then; we do not.
bool isWriteProtected(const struct stat& status);

} // namespace zu::posix
