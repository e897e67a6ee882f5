/// The interface behind which files lie: on the local disk, on another machine, in an archive.
///
///     zu::FileSystem& files = zu::FileSystem::get();
///     if (zu::FindFileHandle* found = files.findFirstFile("levels/*.map"))
///     {
///         do
///             load(files.findGetFileName(found));
///         while ((found = files.findNextFile(found)));
///     }
///
/// Programs mostly use zu::File, zu::FileUtils and zu::BufferedMemoryFile, which go to the
/// installed file system. Implementations derive from FileSystem and override the virtuals.
///
/// Paths are UTF-8 with '/' or '\' between folders, relative ones to the working directory.
/// Times are 100-nanosecond intervals since 1601-01-01 UTC.
///
/// Threads: any, except that a handle belongs to one thread at a time.
/// Ownership: handles are the file system's, made by open and find, freed by close; they must be
/// closed before the file system is destroyed.
/// Errors: nothing throws for what the disk or the peer does; operations give null, false, 0 or
/// fewer bytes. A null handle is allowed everywhere and gives the same.
#pragma once

#include <zul/FastDelegate.h>
#include <zul/File.h>
#include <zul/InplaceString.h>
#include <zul/Memory.h>
#include <zul/Types.h>
#include <zul/Vector.h>
#include <zul/export.h>

#include <cstddef>
#include <memory>

namespace zu {

class AsyncReader;

/// What a file system gives out for an open file. Comes from the runtime's allocator.
class ZUL_API FileHandle
{
public:
    FileHandle() = default;
    virtual ~FileHandle();
    FileHandle(const FileHandle&) = delete;
    FileHandle& operator=(const FileHandle&) = delete;

    static void* operator new(std::size_t size) { return allocateMemory(size); }
    static void operator delete(void* memory) { deleteMemory(memory); }
};

/// What a file system gives out for a search. Comes from the runtime's allocator.
class ZUL_API FindFileHandle
{
public:
    FindFileHandle() = default;
    virtual ~FindFileHandle();
    FindFileHandle(const FindFileHandle&) = delete;
    FindFileHandle& operator=(const FindFileHandle&) = delete;

    static void* operator new(std::size_t size) { return allocateMemory(size); }
    static void operator delete(void* memory) { deleteMemory(memory); }
};

class ZUL_API FileSystem
{
public:
    using PathList = Vector<InplaceString<256>>;

    /// Takes (file name, whole path) and says whether the file is wanted. Empty: all are.
    using FileFilter = fastdelegate::FastDelegate2<const char*, const char*, bool>;

    /// Takes (handle, bytes read).
    using ReadCallback = fastdelegate::FastDelegate2<FileHandle*, u64, void>;

    /// How many folders deep findFiles and findSubfolders go.
    static constexpr u32 kMaxFolderDepth = 64;

    /// How many folders below the first they find; a notice on standard error tells of more. Beyond
    /// any real disk: it ends the walk through what a peer makes up.
    static constexpr u32 kMaxFoldersWalked = 1000000;

    static void* operator new(std::size_t size) { return allocateMemory(size); }
    static void* operator new(std::size_t, void* place) noexcept { return place; }
    static void operator delete(void* memory) { deleteMemory(memory); }
    static void operator delete(void*, void*) noexcept {}

    FileSystem();
    FileSystem(const FileSystem&) = delete;
    FileSystem& operator=(const FileSystem&) = delete;

    /// The installed file system; the local one until another is set.
    static FileSystem& get();

    /// Installs a file system for the process; null goes back to the local one. Not owned: it must
    /// stay alive until another is set and nobody uses it any more.
    static void set(FileSystem* fileSystem);

    // The order of the virtuals is part of the interface: add at the end only.

    virtual ~FileSystem();

    /// Opens a file, not a folder; null when that fails. The handle's position is 0.
    virtual FileHandle* openFile(const char* path, BaseFile::Mode mode) = 0;

    /// Frees the handle whatever it returns; false when bytes written before may be lost.
    virtual bool closeFile(FileHandle* handle) = 0;

    virtual bool fileExists(const char* path) = 0;      ///< as a file, not as a folder
    virtual bool directoryExists(const char* path) = 0; ///< as a folder

    /// Whether it is a file that must not be written, replaced or deleted.
    virtual bool isFileReadOnly(const char* path) = 0;

    /// False also when there is no such file, or when it is read-only.
    virtual bool deleteFile(const char* path) = 0;

    /// Makes one folder; the one above must exist. True when it is there afterwards, whoever made
    /// it.
    virtual bool createDirectory(const char* path) = 0;

    /// Deletes a folder that is empty.
    virtual bool deleteDirectory(const char* path) = 0;

    /// Renames or moves a file or folder.
    ///
    ///   replace   whether a file at to may be replaced (unless it is read-only, or a folder).
    ///
    /// Either to is the whole file and from is gone, or false and both are as they were.
    virtual bool moveFile(const char* from, const char* to, bool replace) = 0;

    /// Copies a file's content and replaces what is at to, unless that is read-only or a folder.
    ///
    /// Either to is the whole copy, or false and to is as it was, with no partial file left behind.
    virtual bool copyFile(const char* from, const char* to) = 0;

    virtual u64 getCurrentPosition(FileHandle* handle) = 0;

    /// Moves the position as File::seek does, and returns it.
    virtual u64 seekFile(FileHandle* handle, s64 offset, BaseFile::SeekMode mode) = 0;

    virtual u64 getFileSize(FileHandle* handle) = 0;

    /// Reads at the position and moves it. Fewer bytes than count: the end, or a failure.
    virtual u64 readFile(FileHandle* handle, void* buffer, u64 count) = 0;

    /// Reads as readFile does, on a thread of the file system, and returns at once.
    ///
    ///   buffer      lent until completed is called; so is the handle, which nobody else may use
    ///               meanwhile, except for further readFileAsync and for closeFile.
    ///   completed   is called once for each read, with the handle and the bytes read. It runs on
    ///               the reading thread, outside every lock, and may start and close files, but
    ///               must not destroy the file system. May be empty.
    ///
    /// Order: as asked for, one read at a time for the whole file system, so a callback that takes
    /// long delays the next. closeFile fails the handle's reads that have not begun (their callback
    /// gets 0 bytes, on the closing thread) and waits for the one that has, with its callback,
    /// unless a callback is what closes. After a callback with 0 bytes ask for no further read.
    virtual void readFileAsync(FileHandle* handle, void* buffer, u64 count,
                               const ReadCallback& completed);

    /// Writes at the position and moves it. Returns the bytes written; fewer than count when the
    /// disk is full, the handle cannot be written, or the peer is gone.
    virtual u64 writeFile(FileHandle* handle, void* buffer, u64 count) = 0;

    /// Brings what was written to the disk.
    virtual bool flushFileBuffers(FileHandle* handle) = 0;

    /// When the content was last written. All 0 when not known.
    virtual File::Time getFileTime(FileHandle* handle) = 0;

    /// A time that is all 0 stays as it is.
    virtual void setFileTime(FileHandle* handle, const File::Time& lastAccess,
                             const File::Time& lastWrite) = 0;

    /// Size and time of last writing of a file. False, both untouched, when there is no such file.
    virtual bool getFileAttributes(const char* path, u64& size, u64& time) = 0;

    /// Free bytes for this user and total bytes of the disk that holds the path.
    virtual bool getDiskSpaceInfo(const char* path, u64& freeBytes, u64& totalBytes) = 0;

    /// Replaces out with the folders below path, as whole paths, each before those inside it.
    virtual void findSubfolders(PathList& out, const char* path, bool recursive);

    /// Starts a search in one folder.
    ///
    ///   pattern   path whose last part may hold '*' and '?', as FileUtils::matchesWildcard
    ///             describes: letter case is ignored, "*.*" finds all.
    ///
    /// Returns a handle at the first file or folder that matches, or null when none does. "." and
    /// ".." are never found. The handle is freed by findNextFile at the end, else by findClose.
    virtual FindFileHandle* findFirstFile(const char* pattern) = 0;

    /// Moves on. At the end frees the handle and returns null: no findClose then.
    virtual FindFileHandle* findNextFile(FindFileHandle* handle) = 0;

    virtual void findClose(FindFileHandle* handle) = 0; ///< null is allowed

    // What the search stands on. The name has no path, and is valid until the handle moves on.

    virtual const char* findGetFileName(FindFileHandle* handle) = 0;
    virtual u64 findGetFileSize(FindFileHandle* handle) = 0;
    virtual u64 findGetFileTime(FindFileHandle* handle) = 0;
    virtual bool findIsDirectory(FindFileHandle* handle) = 0;

    /// Files read in ascending order of their keys make the disk seek least. 0 when not known.
    virtual u64 getFileSortKey(FileHandle* handle) = 0;

private:
    /// What listFiles does; the 32nd and last slot. Uses findFiles unless there is a shorter way.
    virtual void findFilesInternal(PathList& out, const char* path, const char* filter,
                                   FileFilter& accept, bool recursive);

public:
    /// Replaces out with the files in a folder, as whole paths, in the shortest way that the file
    /// system knows.
    ///
    ///   filter      wildcard for the file name; null for all.
    ///   recursive   whether to look into the folders below, whatever their names.
    void listFiles(PathList& out, const char* path, const char* filter, FileFilter accept,
                   bool recursive);
    void listFiles(PathList& out, const char* path, const char* filter, bool recursive);

    /// The same by way of this object's findFirstFile and findNextFile, never through
    /// findFilesInternal: for implementations that handle only some paths themselves.
    void findFiles(PathList& out, const char* path, const char* filter, FileFilter& accept,
                   bool recursive);

protected:
    /// Fails or awaits the handle's asynchronous reads, as readFileAsync says. The first thing that
    /// an implementation's closeFile does.
    void finishAsyncReads(FileHandle* handle);

private:
    std::unique_ptr<AsyncReader> asyncReader;
};

} // namespace zu
