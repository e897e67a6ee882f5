#pragma once

#include "tools/dm/ClientSession.h"
#include "tools/dm/fs/Paths.h"
#include "tools/dm/fs/Problems.h"

#include <zul/File.h>
#include <zul/FileSystem.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace tool {

/// The files of a file server, as `dm fs` sees them: those of a NetworkFileSystem, with every path
/// checked to be the server's, and with the end of the session in view.
///
/// Threads: the work of ClientSession::runSeries. When the session is ending every call throws
/// Ended, which the work lets through.
/// Errors: FileError, which names the path.
class RemoteFiles
{
public:
    /// The session is over. Not an error of any file, so no std::exception.
    struct Ended
    {
    };

    enum class Kind
    {
        Missing,
        File,
        Folder
    };

    struct Entry
    {
        std::string name;
        bool isFolder = false;
        std::uint64_t size = 0;
        std::uint64_t time = 0;
    };

    /// Positions in a file travel as numbers below 2 GiB.
    static constexpr std::uint64_t kMaxFileBytes = 0x7FFFFFFF;

    RemoteFiles(ClientSession& clientSession, zu::FileSystem& networkFileSystem,
                std::vector<MappedFolder> mappedFolders, Problems& sharedProblems)
        : session(clientSession)
        , network(networkFileSystem)
        , folders(std::move(mappedFolders))
        , problems(sharedProblems)
    {
    }

    const std::vector<MappedFolder>& mappedFolders() const { return folders; }

    /// Throws when the path is not in a mapped folder, or cannot be sent. What the person gives
    /// goes through here; the other calls rely on it.
    void check(const std::string& path) const;
    bool isMappedFolder(const std::string& path) const;

    Kind kindOf(const std::string& path);
    std::uint64_t sizeOf(const std::string& path); ///< of a file; 0 when there is none
    Entry describe(const std::string& path);       ///< throws when there is nothing
    bool isReadOnly(const std::string& path);

    /// What is in a folder, whatever the server calls it.
    struct Listing
    {
        std::vector<Entry> entries;
        bool mayBeCut = false; ///< it is as long as the protocol carries: there may be more
    };
    Listing list(const std::string& folder);

    /// The files below a folder whose names match.
    std::vector<std::string> find(const std::string& folder, const std::string& wildcard);

    /// Of what is below a folder, the folders with files in them, as far as one answer goes.
    std::vector<std::string> foldersWithFiles(const std::string& folder);

    bool makeFolder(const std::string& folder);

    // Of what is there. A server that has done it, but is asked again after a lost connection, says
    // no: so they look what is there now.
    bool remove(const std::string& file);
    bool removeFolder(const std::string& folder);
    bool move(const std::string& from, const std::string& to);

    bool copy(const std::string& from, const std::string& to);

    /// Throws Ended when it is time: for what takes long without asking the server.
    void throwIfEnding() const;

    /// Deletes even when the session is ending; never throws. False when the file may be there
    /// still.
    bool discard(const std::string& file) noexcept;

private:
    friend class RemoteFile;

    /// One step: asks and tells the session. It is not believed what the end of the session
    /// answers.
    template <typename Question>
    auto ask(Question question)
    {
        throwIfEnding();
        auto answer = question();
        session.noteStep();
        throwIfEnding();
        return answer;
    }
    void addTwins(const std::string& folder, std::vector<Entry>& entries);

    ClientSession& session;
    zu::FileSystem& network;
    const std::vector<MappedFolder> folders;
    Problems& problems;
};

/// An open file of the server's.
class RemoteFile
{
public:
    /// Throws when there is no such file to read.
    RemoteFile(RemoteFiles& remoteFiles, const std::string& path, zu::BaseFile::Mode mode);

    /// As it was when opened or last written.
    std::uint64_t size() const;

    /// Reads the first `bytes` of it from where it stands, piece by piece, and calls
    /// take(data, count) for each. Throws when the server gives fewer.
    template <typename Take>
    void readPieces(std::uint64_t bytes, std::vector<char>& buffer, Take take)
    {
        for (std::uint64_t at = 0; at < bytes;) {
            const std::size_t count = readPiece(at, bytes, buffer);
            take(static_cast<const char*>(buffer.data()), count);
            at += count;
        }
    }
    std::uint64_t write(void* buffer, std::uint64_t count);

private:
    struct Closer
    {
        zu::FileSystem* network;
        void operator()(zu::FileHandle* opened) const { network->closeFile(opened); }
    };

    std::size_t readPiece(std::uint64_t at, std::uint64_t bytes, std::vector<char>& buffer);

    RemoteFiles& files;
    const std::string name;
    std::unique_ptr<zu::FileHandle, Closer> handle;
};

/// Says that a listing of the folder may be cut.
std::string describeCut(const std::string& folder);

/// Calls visit(path below root, entry) for all that is below a folder, folders before what is in
/// them. Names that would lead elsewhere are failures, and left out; lists that may be cut are
/// failures too.
///
/// Limits: as deep as zu::FileSystem goes, and kMaxEntries: a server may make up more than fits.
inline constexpr std::size_t kMaxEntries = 2'000'000;
using Visit = std::function<void(const std::string& below, const RemoteFiles::Entry& entry)>;
void walk(RemoteFiles& files, const std::string& root, Problems& problems, const Visit& visit);

} // namespace tool
