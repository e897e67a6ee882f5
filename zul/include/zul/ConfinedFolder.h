/// A folder of this machine that is opened to others: they name paths in it, and whatever they
/// name, nothing outside is read, changed or even found out about.
///
///     zu::ConfinedFolder::Outcome outcome;
///     auto folder = zu::ConfinedFolder::open("/home/me/game", {}, outcome);
///     if (!folder)
///         return complain(outcome.getText());
///     zu::u64 bytes = 0;
///     outcome = folder->read(pathFromThePeer, 0, buffer, sizeof buffer, bytes);
///
/// For what comes from a peer, a file or a user. A program's own files are zu::File's and
/// zu::LocalFileSystem's, which follow every path.
///
/// The folder is opened once and held by a handle; every operation starts there and is checked by
/// the system while it goes, not before. So it makes no difference who swaps symbolic links or
/// renames folders meanwhile. Only regular files and folders exist here: pipes, devices and sockets
/// are refused, without waiting for anybody at their other end.
///
/// Paths are UTF-8 and relative to the folder, with '/' or '\' between names; "" is the folder
/// itself. "." and empty names mean nothing. Refused, even if they would lead back inside: "..",
/// absolute paths, drives, server names, control characters, bytes that are not UTF-8, names of
/// more than 255 and paths of more than 4095 bytes, more than 128 names.
///
/// Times are 100-nanosecond intervals since 1601-01-01 UTC.
///
/// Threads: any, all at once.
/// Errors: every operation says in an Outcome why it did nothing; only want of memory throws.
/// Limits: each operation holds a few open files until it returns.
#pragma once

#include <zul/Types.h>
#include <zul/export.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

namespace zu {

class ConfinedFile;
class NativeConfinedFolder;

class ZUL_API ConfinedFolder
{
public:
    enum class Links
    {
        Refuse,       ///< whatever leads through a symbolic link does not exist for peers
        FollowBeneath ///< relative ones whose way never leaves the folder are followed
    };
    enum class LetterCase
    {
        Exact,
        Ignore ///< a name that does not exist is taken for one that differs in ASCII case only
    };
    enum class Names
    {
        Any,
        Portable ///< refuses also what other systems cannot store or read differently
    };
    enum class Lookup
    {
        Whole,     ///< the system looks a path up and confines it in one call
        StepByStep ///< name by name, where the system knows no such call
    };
    struct Options
    {
        Links links = Links::Refuse;
        LetterCase letterCase = LetterCase::Exact;
        Names names = Names::Any;
        Lookup lookup = Lookup::Whole; ///< the best to use; only tests want less
    };

    enum class Error
    {
        None,
        BadPath,   ///< no path that a peer may name, as above
        Outside,   ///< leads out of the folder, or through a link that is not followed
        NotFound,  ///< the file, or a folder on the way
        Exists,    ///< something of that name is there already
        WrongKind, ///< a folder where a file is needed or the reverse, or something else altogether
        NotEmpty,  ///< the folder to be removed
        ReadOnly,  ///< the file is protected from writing, or the disk is
        Denied,    ///< the system does not let this user
        DiskFull,  ///< or the user's share of it is used up
        TooLarge,  ///< a position or size that files cannot have here
        Gone,      ///< the opened folder itself was deleted, or its disk is away
        Stopped,   ///< by the caller's own GoOn
        Failed     ///< something else: see the text
    };
    struct Outcome
    {
        Error error = Error::None;
        int detail = 0; ///< what getText tells more of

        bool succeeded() const { return error == Error::None; }

        /// What went wrong, for a person: no path in it, no full stop. "" when nothing did.
        ZUL_API std::string getText() const;
    };

    struct Info
    {
        bool isDirectory = false; ///< a regular file otherwise
        bool isReadOnly = false;  ///< a file that must not be written, replaced or removed
        u64 size = 0;             ///< 0 for a folder
        u64 lastWrite = 0;
    };
    enum class Rights
    {
        Asked,
        Ignored,
    };
    struct Entry
    {
        std::string path; ///< the name for list, from the walk's folder on for walk
        bool isDirectory = false;
        u64 size = 0;
        u64 lastWrite = 0;
    };

    /// Takes the next entry; false ends the search, which then counts as succeeded.
    using Visitor = std::function<bool(const Entry&)>;

    /// Asked every now and then by what may take long: false has it given up. May be empty.
    using GoOn = std::function<bool()>;

    /// Opens a folder by its path on this machine, which may lead anywhere. Null, and why in
    /// outOutcome, when it cannot be.
    static std::unique_ptr<ConfinedFolder> open(const char* hostPath, const Options& options,
                                                Outcome& outOutcome);

    ~ConfinedFolder();
    ConfinedFolder(const ConfinedFolder&) = delete;
    ConfinedFolder& operator=(const ConfinedFolder&) = delete;

    /// How the system lets us look paths up.
    Lookup getLookup() const;

    /// What there is to know of a file or folder.
    ///
    ///   rights   whether isReadOnly is found out too, for which the system has to be asked again.
    Outcome getInfo(std::string_view path, Info& outInfo, Rights rights = Rights::Asked) const;

    /// Reads at a position.
    ///
    ///   buffer     count bytes, undefined beyond what was read.
    ///   outBytes   count, or less when the file ends before; 0 when the read failed.
    Outcome read(std::string_view path, u64 position, void* buffer, u64 count, u64& outBytes) const;

    /// Opens a file to be read piece by piece: all pieces are of the same file, also when another
    /// takes its name meanwhile.
    Outcome openFile(std::string_view path, std::unique_ptr<ConfinedFile>& outFile) const;

    /// Writes at a position, all of it: otherwise the file is as it was, or still not there. Makes
    /// the file if need be; a gap before the position reads as zeros. Only a disk that breaks while
    /// old bytes are replaced, or has no room then and reserves none, can leave some of them new.
    Outcome write(std::string_view path, u64 position, const void* data, u64 count) const;

    /// Makes or replaces a whole file in one step: whoever reads it finds the old or the new one,
    /// also after this program was killed in the middle (which leaves a file ".zul-copy-..." beside
    /// it). Keeps the permissions. A link of that name is itself replaced, where links are
    /// followed.
    Outcome replaceFile(std::string_view path, const void* data, u64 count) const;

    /// Copies the content and the permissions. The target is made or replaced in one step, as by
    /// replaceFile.
    Outcome copyFile(std::string_view from, std::string_view to) const;

    /// Renames or moves a file or folder in one step. A file at `to` is replaced, unless it is
    /// read-only; a folder never is.
    Outcome rename(std::string_view from, std::string_view to) const;

    /// As copyFile, into another opened folder, or this one. Each path is judged by the options of
    /// its folder.
    Outcome copyInto(const ConfinedFolder& target, std::string_view from, std::string_view to,
                     const GoOn& goOn = {}) const;

    /// As rename, into another opened folder, or this one. Between two disks a file is copied with
    /// its time, brought to the disk and only then removed; a folder cannot move there.
    Outcome moveInto(const ConfinedFolder& target, std::string_view from, std::string_view to,
                     const GoOn& goOn = {}) const;

    Outcome removeFile(std::string_view path) const; ///< not a read-only one
    Outcome makeDirectory(std::string_view path) const;
    Outcome removeDirectory(std::string_view path) const; ///< an empty one

    /// Visits what is in a folder, in the order of names without regard to case. Left out are what
    /// is neither file nor folder, links that are not followed, and names no peer can ask for.
    ///
    ///   wildcard   names to visit, as FileUtils::matchesWildcard describes; null for all.
    ///
    /// The visitor runs without any lock and may use this object.
    Outcome list(std::string_view path, const char* wildcard, const Visitor& visitor) const;

    /// As list, and then what is in the folders below, whatever their names: first all of one
    /// folder, then one after the other those in it. Goes FileSystem::kMaxFolderDepth folders deep,
    /// and into a folder that links lead to in several ways only once. Folders that vanish or
    /// cannot be read are passed over, but for the first.
    ///
    ///   goOn   asked at each folder: false ends the walk, with Error::Stopped.
    Outcome walk(std::string_view path, const char* wildcard, const Visitor& visitor,
                 const GoOn& goOn = {}) const;

    /// Whether a path that does not exist does so in other (ASCII) letter case; of several the
    /// first in order. With LetterCase::Ignore that is the one that operations take.
    bool findOtherCase(std::string_view path, std::string& outPath) const;

private:
    ConfinedFolder(std::unique_ptr<NativeConfinedFolder> opened, const Options& openOptions);

    Outcome takePath(std::string_view path, std::string& outPath) const;
    Outcome takeName(std::string_view path, std::string& outPath) const;
    Outcome takeNames(const ConfinedFolder& target, std::string_view from, std::string_view to,
                      std::string& outFrom, std::string& outTo) const;
    bool matchIgnoringCase(const std::string& path, std::string& outPath) const;

    const std::unique_ptr<NativeConfinedFolder> native;
    const Options options;
};

/// A regular file that ConfinedFolder::openFile opened. Outlives the folder object.
///
/// Threads: any, all at once.
class ZUL_API ConfinedFile
{
public:
    ~ConfinedFile();
    ConfinedFile(const ConfinedFile&) = delete;
    ConfinedFile& operator=(const ConfinedFile&) = delete;

    /// As it was when it was opened.
    u64 getSize() const { return size; }

    /// As ConfinedFolder::read.
    ConfinedFolder::Outcome read(u64 position, void* buffer, u64 count, u64& outBytes) const;

private:
    friend class ConfinedFolder;
    ConfinedFile(std::intptr_t openHandle, u64 openSize)
        : handle(openHandle)
        , size(openSize)
    {
    }

    const std::intptr_t handle;
    const u64 size;
};

} // namespace zu
