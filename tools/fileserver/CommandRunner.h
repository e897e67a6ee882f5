/// Carries out what games ask for, on the mapped folders. Knows no pipe: a command comes in as
/// text, an answer goes out.
#pragma once

#include "tools/fileserver/CaseDoctor.h"
#include "tools/fileserver/CommandLine.h"
#include "tools/fileserver/FolderMaps.h"
#include "tools/fileserver/WriteTurns.h"

#include <dm/comm.h>
#include <zul/ConfinedFolder.h>

#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <unordered_set>
#include <utility>
#include <vector>

namespace fileserver {

/// The data of an answer that is too large for memory: a range of one opened file.
///
/// Threads: one at a time.
class AnswerContent
{
public:
    AnswerContent(std::unique_ptr<zu::ConfinedFile> opened, dm::uint32 start, dm::uint32 bytes)
        : size(bytes)
        , file(std::move(opened))
        , position(start)
    {
    }

    const dm::uint32 size;

    /// Gives `count` bytes from `offset` on, both within size. False when the file does not have
    /// them any more or cannot be read.
    bool read(dm::uint32 offset, void* buffer, dm::uint32 count) const;

private:
    const std::unique_ptr<zu::ConfinedFile> file;
    const dm::uint32 position;
};

struct Answer
{
    std::string text;
    std::vector<char> data;                 ///< lists, and reads of up to kMaxReadAtOnce bytes
    std::unique_ptr<AnswerContent> content; ///< longer reads; data is empty then
};

/// What there is to tell about a command afterwards.
///
/// Paths and texts in it may hold anything that a game sends, control characters included. They
/// name no path of this machine.
struct CommandReport
{
    bool wantsReason = false; ///< set by the caller: whether reason is to be made

    const CommandSyntax* command = nullptr; ///< null for a line that is none
    ParsedCommand arguments;                ///< parts of the line; empty when it was not parsed
    bool succeeded = false;                 ///< or the answer was yes
    bool isDropped = false; ///< nobody wanted it any more when its turn came: nothing was done
    dm::uint32 bytes = 0;   ///< of file content, read or written
    dm::uint32 entries = 0; ///< of a list
    std::string reason;     ///< why it did not succeed, for people
    std::string warning;    ///< for people, also when nobody watches; "" if there is none
};

/// Whether somebody still waits for the answer. May be empty.
using StillWanted = std::function<bool()>;

struct RunnerOptions
{
    bool hidesHostPaths = false; ///< getMappedFolders tells names alone
};

/// A read of up to so many bytes is answered from memory.
inline constexpr dm::uint32 kMaxReadAtOnce = 64 * 1024;

/// Runs the commands of all games.
///
/// A command that fails is answered with the protocol's no: "false", sizes and bytes written "0",
/// times "0 0", reads "false" without data, lists with a count of 0. What is no command: "false".
///
/// Threads: any, all at once; commands wait for their turn as WriteTurns says.
class CommandRunner
{
public:
    explicit CommandRunner(FolderMaps& folderMaps, const RunnerOptions& runnerOptions = {});
    CommandRunner(const CommandRunner&) = delete;
    CommandRunner& operator=(const CommandRunner&) = delete;

    ///   line, data      lent until it returns; the report's arguments are parts of the line.
    ///   isStillWanted   asked when the command's turn comes, and now and then by what takes long:
    ///                   false and nothing (more) is done, outReport.isDropped, the answer empty.
    ///
    /// May take long: works on disks, and waits for others' turns.
    Answer run(std::string_view line, const void* data, size_t dataSize,
               const StillWanted& isStillWanted, CommandReport& outReport);

    /// The content that a line was answered with could not be read to its end, and the game will
    /// ask again: from now on the line's content is looked through before it is announced.
    void noteUnreadable(std::string_view line);

private:
    static constexpr size_t kMaxUnreadable = 1024;

    bool isDoubtful(std::string_view line);

    FolderMaps& maps;
    const RunnerOptions options;
    WriteTurns turns;
    CaseDoctor caseDoctor;

    std::mutex unreadableLock;
    std::unordered_set<size_t> unreadable; // hashes of lines; under unreadableLock
};

} // namespace fileserver
