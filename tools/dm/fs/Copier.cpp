#include "tools/dm/fs/Copier.h"

#include "tools/dm/Files.h"
#include "tools/dm/Sha256.h"
#include "tools/dm/fs/CopyPlan.h"

#include <algorithm>
#include <functional>
#include <random>
#include <system_error>

namespace tool {

namespace fs = std::filesystem;

namespace {

// Large enough that the round trip of a piece does not count, small enough for a lively progress.
constexpr std::size_t kPieceBytes = 1024 * 1024;

/// A file at the server that is deleted again unless it gets its name.
class TemporaryRemoteFile
{
public:
    TemporaryRemoteFile(RemoteFiles& remoteFiles, Problems& sharedProblems,
                        const std::string& target)
        : files(remoteFiles)
        , problems(sharedProblems)
        , name(nameBeside(target))
    {
    }

    ~TemporaryRemoteFile()
    {
        if (!hasMoved && isMade && !files.discard(name))
            problems.note("'" + name + "' may be left at the server: delete it");
    }

    TemporaryRemoteFile(const TemporaryRemoteFile&) = delete;
    TemporaryRemoteFile& operator=(const TemporaryRemoteFile&) = delete;

    const std::string& path() const { return name; }
    void willBeMade() { isMade = true; }
    bool moveTo(const std::string& target) { return hasMoved = files.move(name, target); }

private:
    /// Different in every process, of characters that every system takes, and not too long.
    static std::string nameBeside(const std::string& target)
    {
        constexpr std::size_t kLongBytes = 200;
        std::string name(lastName(target));
        if (name.size() > kLongBytes)
            name = "dm";
        std::random_device device;
        return join(parentOf(target), name + ".part-" + std::to_string(device()));
    }

    RemoteFiles& files;
    Problems& problems;
    const std::string name;
    bool isMade = false;
    bool hasMoved = false;
};

[[noreturn]] void failHash(const std::string& from, const std::string& to)
{
    throw FileError("'" + to + "' is not copied: it does not have the content of '" + from +
                    "', which may have changed meanwhile: try again");
}

[[noreturn]] void failChanged(const std::string& from, const std::string& to)
{
    throw FileError("'" + to + "' is not copied: the size of '" + from +
                    "' changed meanwhile: try again");
}

} // namespace

Copier::Copier(RemoteFiles& remoteFiles, CopyMeter& copyMeter, Problems& sharedProblems,
               Check checkOfCopies)
    : files(remoteFiles)
    , meter(copyMeter)
    , problems(sharedProblems)
    , check(checkOfCopies)
    , buffer(kPieceBytes)
{
}

void Copier::get(const std::string& remote, const std::string& local)
{
    RemoteFile source(files, remote, zu::File::Read);
    const std::uint64_t size = source.size();
    requireSendableSize(remote, size);
    OutputFile out(local);
    source.readPieces(size, buffer, [&](const char* data, std::size_t count) {
        out.write(data, count);
        meter.addBytes(count);
    });
    const fs::path written = out.finish();
    std::error_code error;
    const bool canBeRead = fs::is_regular_file(written, error);
    if (files.sizeOf(remote) != size)
        failChanged(remote, local);
    if (canBeRead && fs::file_size(written, error) != size)
        throw FileError("'" + local +
                        "' is not copied: the disk has kept fewer bytes than written");
    if (canBeRead && check == Check::Hash && hashLocal(written) != hashRemote(remote, size))
        failHash(remote, local);
    out.commit();
}

void Copier::put(const std::string& local, const std::string& remote)
{
    std::error_code error;
    if (!fs::is_regular_file(local, error))
        throw FileError("cannot read '" + local +
                        "': " + (fs::exists(local, error) ? "it is no file" : "it does not exist"));
    const std::uint64_t size = fs::file_size(local, error);
    const FilePointer source(std::fopen(local.c_str(), "rb"));
    if (error || source == nullptr)
        throw FileError("cannot read '" + local + "': " + (error ? error.message() : lastError()));
    requireSendableSize(local, size);
    send(source.get(), size, local, remote);
}

void Copier::send(std::FILE* source, std::uint64_t size, const std::string& local,
                  const std::string& remote)
{
    TemporaryRemoteFile temporary(files, problems, remote);
    Sha256 sent;
    {
        // Not there yet, so nothing needs to be deleted first.
        RemoteFile copy(files, temporary.path(), zu::File::ReadWrite);
        temporary.willBeMade();
        std::uint64_t at = 0;
        do { // once even for no bytes, which makes the file
            const std::size_t count = std::fread(buffer.data(), 1, buffer.size(), source);
            if (std::ferror(source) != 0)
                throw FileError("cannot read '" + local + "': " + lastError());
            at += count;
            if (at > size || (at < size && count == 0))
                failChanged(local, remote);
            if (copy.write(buffer.data(), count) != count)
                failWriting(remote, copy.size(), size);
            if (check == Check::Hash)
                sent.add(buffer.data(), count);
            meter.addBytes(count);
        } while (at < size);
        if (std::fgetc(source) != EOF)
            failChanged(local, remote);
        if (copy.size() != size)
            failWriting(remote, copy.size(), size);
    }
    if (check == Check::Hash && hashRemote(temporary.path(), size) != sent.finish())
        failHash(local, remote);
    if (!temporary.moveTo(remote))
        failWriting(remote, size, size);
    if (files.sizeOf(remote) != size)
        throw FileError("'" + remote + "' has been changed by somebody else meanwhile");
}

void Copier::failWriting(const std::string& remote, std::uint64_t kept, std::uint64_t size)
{
    const std::string folder(parentOf(remote));
    std::string why = "the server has kept " + std::to_string(kept) + " of " +
                      std::to_string(size) + " bytes; its log says why it does no more";
    if (!folder.empty() && files.kindOf(folder) != RemoteFiles::Kind::Folder)
        why = "there is no folder '" + folder + "'";
    else if (files.kindOf(remote) == RemoteFiles::Kind::Folder)
        why = "it is a folder";
    else if (files.isReadOnly(remote))
        why = "it is read-only";
    throw FileError("cannot write '" + remote + "': " + why);
}

std::string Copier::hashLocal(const fs::path& path)
{
    const FilePointer file(std::fopen(path.c_str(), "rb"));
    Sha256 hash;
    std::size_t count = 0;
    while (file != nullptr && (count = std::fread(buffer.data(), 1, buffer.size(), file.get())) > 0)
    {
        hash.add(buffer.data(), count);
        files.throwIfEnding();
    }
    if (file == nullptr || std::ferror(file.get()) != 0)
        throw FileError("cannot read '" + path.string() + "' again: " + lastError());
    return hash.finish();
}

std::string Copier::hashRemote(const std::string& path, std::uint64_t size)
{
    RemoteFile source(files, path, zu::File::Read);
    Sha256 hash;
    source.readPieces(size, buffer,
                      [&](const char* data, std::size_t count) { hash.add(data, count); });
    return hash.finish();
}

} // namespace tool
