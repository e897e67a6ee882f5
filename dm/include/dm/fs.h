/// Remote files: a game reads and writes the developer's folders as if they were its own.
///
/// A file server offers folders of its machine under names, its mapped folders. A
/// NetworkFileSystem stands in front of the game's own file system: paths that begin with such a
/// name go to the server over the pipe "fileserver", all others where they went before.
///
///     #include <dm/comm.h>
///     #include <dm/fs.h>
///     #include <zul/LocalFileSystem.h>
///
///     int main()
///     {
///         dm::initCommunicationManagerAsClient("game", "192.168.0.10", 3510);
///         new dm::NetworkFileSystem(zu::LocalFileSystem::getInstance());
///         zu::FileSystem::set(&dm::NetworkFileSystem::getInstance());
///         {
///             zu::File level("data/levels/one.map", zu::File::Write); // the server's
///             level.write("a level\n", 8);
///             level.close(); // throws if the server did not take it
///         }
///         zu::FileSystem::set(nullptr);
///         dm::deinitCommunicationManagers();
///         dm::NetworkFileSystem::deleteInstance();
///     }
///
/// When not: in what is shipped. Servers are trusted with what they are asked to keep, no further:
/// nothing that one answers harms the process.
///
/// Threads, Ownership, Errors: at NetworkFileSystem.
/// Limits: files of 2 GiB, because positions and counts travel as signed 32 bits; lists of
/// NetworkFileSystem::kMaxListBytes.
/// Order: the manager first, then the file system, then FileSystem::set. At the end close all
/// files, set the local file system again, so that nobody begins a new operation, deinitialise the
/// manager, which ends operations that still wait, join the threads that used files, and delete the
/// instance.
#pragma once

#include <dm/export.h>
#include <zul/FileSystem.h>
#include <zul/InplaceString.h>

#include <atomic>
#include <memory>

namespace dm {

class CommunicationPipe;
class MappedFolders;

/// A file system in front of another. Operations mean what zu::FileSystem says, with the
/// particulars below.
///
/// Which paths are remote: those that begin with the name of a mapped folder, letter case ignored.
/// Names are not required to end at a separator: the folder "data" makes "database/x" remote. The
/// folders are asked for at the first operation on a path, and again after each connection.
///
/// Threads: any, but never in a callback of the pipe's manager. On its thread every remote
/// operation fails at once, with a message on stderr, and closeFile would wait for ever for an
/// asynchronous read; a pipe-create callback on a caller's thread holds up those who list. Remote
/// operations wait for the server, and while there is no connection for the next one, without
/// limit; deinitialising the manager ends the wait. Listing operations (findFirstFile, listFiles,
/// asking for the folders) wait for each other, in the whole process.
/// Ownership: the local file system is not owned and must outlive this one. Handles are freed by
/// closeFile and findClose, and by findNextFile at the end.
/// Errors: nothing throws for what the server does. The pipe is that of the only manager, looked up
/// anew for each operation: without exactly one manager, or after it has been deinitialised, remote
/// operations give false, 0 or null.
/// Limits: lists that the server sends are cut at kMaxListBytes. Other limits are the server's.
class DM_API NetworkFileSystem : public zu::FileSystem
{
public:
    /// The pipe on which file servers are asked.
    static constexpr const char* kPipeName = "fileserver";

    /// What a list may take, its count and the terminators of its entries included, in bytes: the
    /// process has one buffer for lists, of that size.
    static constexpr zu::u32 kMaxListBytes = 0xA0000;

    /// Becomes the one that getInstance returns. Make it after the manager and before the pipe is
    /// connected: connections are counted from here on.
    ///
    ///   localFileSystem   what has the paths that are not remote.
    explicit NetworkFileSystem(zu::FileSystem& localFileSystem);

    /// Nobody may be using it any more, and no file of it be open. Afterwards getInstance has
    /// nothing to return, also when a newer one had been made.
    ~NetworkFileSystem() override;

    /// The instance made last, which must be there.
    static NetworkFileSystem& getInstance();

    /// Destroys the instance that getInstance returns, if there is one; it must have come from new.
    static void deleteInstance();

    /// Notes where local files are meant to be, for those who agree on it. Changes no path. Not
    /// while others use the object.
    void setLocalRoot(const char* path);

    /// Whether the pipe has been connected since this was constructed, also when it no longer is.
    bool isPipeAcquired() const { return pipeAcquired.load(std::memory_order_acquire); }

    /// For reading, asks whether the file exists; for writing anew, has it deleted; else nothing is
    /// checked and there is always a handle. A remote file is made by the first writeFile, which
    /// may have 0 bytes.
    zu::FileHandle* openFile(const char* path, zu::BaseFile::Mode mode) override;

    /// Always true, except for null.
    bool closeFile(zu::FileHandle* handle) override;

    bool fileExists(const char* path) override;
    bool directoryExists(const char* path) override;
    bool isFileReadOnly(const char* path) override;
    bool deleteFile(const char* path) override;
    bool createDirectory(const char* path) override;
    bool deleteDirectory(const char* path) override;

    /// Between a remote and a local path: the local file system is asked. Whether a remote file may
    /// be replaced is the server's to say.
    bool moveFile(const char* from, const char* to, bool replace) override;

    /// Between a remote and a local path: the whole file is read into memory, then written. When
    /// the writing fails, to is deleted.
    bool copyFile(const char* from, const char* to) override;

    zu::u64 getCurrentPosition(zu::FileHandle* handle) override;
    zu::u64 seekFile(zu::FileHandle* handle, zu::s64 offset, zu::BaseFile::SeekMode mode) override;

    /// Of a remote file: as it was when it was opened or last written through this handle.
    zu::u64 getFileSize(zu::FileHandle* handle) override;

    /// Remote reads and writes are one request each, for the low 32 bits of count.
    zu::u64 readFile(zu::FileHandle* handle, void* buffer, zu::u64 count) override;
    zu::u64 writeFile(zu::FileHandle* handle, void* buffer, zu::u64 count) override;

    bool flushFileBuffers(zu::FileHandle* handle) override; ///< remote: true, nothing is sent
    zu::File::Time getFileTime(zu::FileHandle* handle) override;
    void setFileTime(zu::FileHandle* handle, const zu::File::Time& lastAccess,
                     const zu::File::Time& lastWrite) override; ///< remote: does nothing
    bool getFileAttributes(const char* path, zu::u64& size, zu::u64& time) override;
    bool getDiskSpaceInfo(const char* path, zu::u64& freeBytes,
                          zu::u64& totalBytes) override; ///< always the local file system's

    /// The server is always asked. A local pattern finds what the local file system has as well,
    /// without what is named like a mapped folder; of two entries of one name the server's is
    /// found. In the order of names, without regard to case.
    zu::FindFileHandle* findFirstFile(const char* pattern) override;
    zu::FindFileHandle* findNextFile(zu::FindFileHandle* handle) override;
    void findClose(zu::FindFileHandle* handle) override;
    const char* findGetFileName(zu::FindFileHandle* handle) override;
    zu::u64 findGetFileSize(zu::FindFileHandle* handle) override;
    zu::u64 findGetFileTime(zu::FindFileHandle* handle) override;
    bool findIsDirectory(zu::FindFileHandle* handle) override;

    zu::u64 getFileSortKey(zu::FileHandle* handle) override; ///< always 0

private:
    /// What listFiles does: a remote folder is listed by the server, in one request.
    void findFilesInternal(PathList& out, const char* path, const char* filter, FileFilter& accept,
                           bool recursive) override;

    bool isRemote(const char* path);
    bool copyThroughMemory(const char* from, const char* to);
    bool makeEmptyFile(const char* path);
    void onConnected(zu::u32 connection);
    static void connectionCallback(void*, CommunicationPipe* pipe);

    zu::FileSystem& localFileSystem;
    zu::InplaceString<128> localRoot = "devkit:\\PLX\\";
    std::unique_ptr<MappedFolders> mappedFolders;
    std::atomic<bool> pipeAcquired{false}; // written by the manager's thread
};

} // namespace dm
