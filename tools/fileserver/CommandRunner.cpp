#include "tools/fileserver/CommandRunner.h"

#include "tools/fileserver/CommandRun.h"
#include "tools/fileserver/GamePaths.h"

#include <new>
#include <optional>

namespace fileserver {

namespace {

/// What a command is about, and how many of the claims that is.
size_t claimsOf(const CommandSyntax& command, const ParsedCommand& arguments,
                WriteTurns::Claims& outClaims)
{
    // A search is about a folder; a pattern without one is the name of a map.
    const std::string_view folder =
        command.id == CommandId::FindFiles ? folderOf(arguments.path) : std::string_view();
    outClaims[0] = {folder.empty() ? arguments.path : folder, command.access};
    outClaims[1] = {arguments.secondPath, command.access};
    if (command.id == CommandId::CopyFile)
        outClaims[0].access = Access::Read;
    if (command.arguments == Arguments::None)
        return 0;
    return command.arguments == Arguments::TwoPaths ? 2 : 1;
}

Answer refuse(AnswerKind kind, const std::string& what, const char* why, CommandReport& report)
{
    report.reason = why;
    report.warning = "refused " + what + ": " + why;
    return makeRefusal(kind);
}

} // namespace

bool AnswerContent::read(dm::uint32 offset, void* buffer, dm::uint32 count) const
{
    zu::u64 done = 0;
    return file->read(zu::u64(position) + offset, buffer, count, done).succeeded() && done == count;
}

CommandRunner::CommandRunner(FolderMaps& folderMaps, const RunnerOptions& runnerOptions)
    : maps(folderMaps)
    , options(runnerOptions)
{
}

Answer CommandRunner::run(std::string_view line, const void* data, size_t dataSize,
                          const StillWanted& isStillWanted, CommandReport& outReport)
{
    const bool wantsReason = outReport.wantsReason;
    outReport = {};
    outReport.wantsReason = wantsReason;
    const CommandSyntax* const command = findCommand(line);
    outReport.command = command;
    if (command == nullptr)
        return refuse(AnswerKind::YesNo, quote(line), "there is no such command", outReport);
    if (command->access == Access::Write && maps.areAllReadOnly())
        return refuse(command->answer, quote(line), "all maps are read-only", outReport);
    const char* error = nullptr;
    if (!parse(*command, line, outReport.arguments, error))
        return refuse(command->answer, quote(line), error, outReport);

    WriteTurns::Claims claims;
    const size_t claimCount = claimsOf(*command, outReport.arguments, claims);
    std::optional<WriteTurns::Turn> turn;
    if (claimCount != 0)
        turn.emplace(turns, claims, claimCount);
    if (isStillWanted && !isStillWanted()) {
        outReport.isDropped = true;
        return {};
    }
    try {
        const std::string_view bytes(static_cast<const char*>(data), dataSize);
        const bool doubtful = command->id == CommandId::Read && isDoubtful(line);
        return CommandRun({maps, caseDoctor, options, doubtful}, bytes, isStillWanted, outReport)
            .run();
    } catch (const std::bad_alloc&) {
        return refuse(command->answer, quote(line), "there is not enough memory", outReport);
    }
}

void CommandRunner::noteUnreadable(std::string_view line)
{
    const std::lock_guard guard(unreadableLock);
    if (unreadable.size() >= kMaxUnreadable)
        unreadable.clear();
    unreadable.insert(std::hash<std::string_view>()(line));
}

bool CommandRunner::isDoubtful(std::string_view line)
{
    const std::lock_guard guard(unreadableLock);
    return unreadable.contains(std::hash<std::string_view>()(line));
}

} // namespace fileserver
