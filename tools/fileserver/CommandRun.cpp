#include "tools/fileserver/CommandRun.h"

#include "tools/fileserver/GamePaths.h"

#include <algorithm>
#include <cstdio>
#include <utility>

namespace fileserver {

using Error = zu::ConfinedFolder::Error;
using Info = zu::ConfinedFolder::Info;
using Outcome = zu::ConfinedFolder::Outcome;

namespace {

constexpr char kEmptyList[] = "0"; // with its zero

constexpr size_t kMaxQuotedBytes = 200;

std::string textOf(zu::u64 number) { return std::to_string(number); }

/// The halves, the low one first, each as the signed number that it is to games.
std::string textOfTime(zu::u64 time)
{
    char text[32];
    std::snprintf(text, sizeof text, "%i %i", static_cast<int>(static_cast<zu::u32>(time)),
                  static_cast<int>(static_cast<zu::u32>(time >> 32)));
    return text;
}

/// Whose paths name files, and so do not end in a separator.
bool isAboutFiles(CommandId id)
{
    switch (id) {
    case CommandId::FileExists:
    case CommandId::IsFileReadOnly:
    case CommandId::DeleteFile:
    case CommandId::CopyFile:
    case CommandId::GetFileSize:
    case CommandId::Read:
    case CommandId::Write:
        return true;
    default:
        return false;
    }
}

/// What an administrator should see, since the game cannot know better.
bool isWorthAWarning(Error error)
{
    switch (error) {
    case Error::ReadOnly:
    case Error::Denied:
    case Error::DiskFull:
    case Error::TooLarge:
    case Error::Failed:
        return true;
    default:
        return false;
    }
}

} // namespace

Answer makeRefusal(AnswerKind kind)
{
    Answer answer;
    answer.text = "false";
    if (kind == AnswerKind::Size || kind == AnswerKind::Written)
        answer.text = "0";
    else if (kind == AnswerKind::Time)
        answer.text = "0 0";
    else if (kind == AnswerKind::List)
        answer.data.assign(kEmptyList, kEmptyList + sizeof kEmptyList);
    return answer;
}

std::string quote(std::string_view text)
{
    std::string quoted = "\"";
    quoted.append(text.substr(0, kMaxQuotedBytes));
    return quoted + (text.size() > kMaxQuotedBytes ? "...\"" : "\"");
}

Answer CommandRun::run()
{
    report.succeeded = runCommand();
    if (report.isDropped)
        return {};
    if (!report.succeeded)
        return makeRefusal(command.answer);
    if (answer.text.empty())
        answer.text = "true";
    return std::move(answer);
}

bool CommandRun::runCommand()
{
    switch (command.id) {
    case CommandId::FileExists:
    case CommandId::DirectoryExists:
    case CommandId::IsFileReadOnly:
    case CommandId::GetFileSize:
    case CommandId::GetFileTime:
        return answerAboutFile();
    case CommandId::DeleteFile:
    case CommandId::CreateDirectory:
    case CommandId::DeleteDirectory:
        return change();
    case CommandId::MoveFile:
    case CommandId::CopyFile:
        return moveOrCopy();
    case CommandId::Read:
        return read();
    case CommandId::Write:
        return write();
    case CommandId::FindFiles:
        return findFiles();
    case CommandId::FindFilesRecursive:
        return findFilesRecursive();
    case CommandId::GetMappedFolders:
        return tellFolders();
    }
    return false;
}

// Single files and folders.

bool CommandRun::answerAboutFile()
{
    Place place;
    if (!find(arguments.path, place))
        return false;
    using Rights = zu::ConfinedFolder::Rights;
    const Rights rights = command.id == CommandId::IsFileReadOnly ? Rights::Asked : Rights::Ignored;
    Info info;
    const Outcome outcome = onFolder(
        place, [&](const auto& folder) { return folder.getInfo(place.rest, info, rights); });
    if (!outcome.succeeded())
        return fail(outcome, {&place});
    if (command.id == CommandId::GetFileTime) {
        answer.text = textOfTime(info.lastWrite);
        return true;
    }
    if (command.id == CommandId::DirectoryExists)
        return info.isDirectory || fail("it is a file");
    if (info.isDirectory)
        return fail("it is a folder");
    if (command.id == CommandId::GetFileSize)
        answer.text = textOf(info.size);
    // Nobody can write what is in a read-only map.
    if (command.id == CommandId::IsFileReadOnly)
        return info.isReadOnly || !place.map->isWritable() || fail("it can be written");
    return true;
}

bool CommandRun::read()
{
    Place place;
    if (!find(arguments.path, place))
        return false;
    if (arguments.count <= kMaxReadAtOnce)
        return readAtOnce(place);
    std::unique_ptr<zu::ConfinedFile> file;
    Outcome outcome =
        onFolder(place, [&](const auto& folder) { return folder.openFile(place.rest, file); });
    if (!outcome.succeeded())
        return fail(outcome, {&place});
    const zu::u64 size = file->getSize();
    const zu::u64 left = size - std::min<zu::u64>(arguments.position, size);
    report.bytes = static_cast<dm::uint32>(std::min<zu::u64>(arguments.count, left));
    if (report.bytes > kMaxReadAtOnce) {
        if (context.isDoubtful)
            outcome = lookThrough(*file);
        if (!outcome.succeeded())
            return fail(outcome, {&place});
        answer.content =
            std::make_unique<AnswerContent>(std::move(file), arguments.position, report.bytes);
        return true;
    }
    answer.data.resize(report.bytes);
    zu::u64 done = 0;
    if (report.bytes != 0)
        outcome = file->read(arguments.position, answer.data.data(), report.bytes, done);
    // Less when somebody has made the file shorter meanwhile.
    report.bytes = static_cast<dm::uint32>(done);
    answer.data.resize(done);
    return outcome.succeeded() || fail(outcome, {&place});
}

/// What is asked for can be no more than that: no need to know the file's size first.
bool CommandRun::readAtOnce(const Place& place)
{
    answer.data.resize(arguments.count);
    zu::u64 done = 0;
    const Outcome outcome = onFolder(place, [&](const auto& folder) {
        return folder.read(place.rest, arguments.position, answer.data.data(), arguments.count,
                           done);
    });
    report.bytes = static_cast<dm::uint32>(done);
    answer.data.resize(done);
    return outcome.succeeded() || fail(outcome, {&place});
}

/// Whether what is to be announced can be read. Announces less when the file has less than it says.
Outcome CommandRun::lookThrough(const zu::ConfinedFile& file)
{
    std::vector<char> block(kMaxReadAtOnce);
    for (dm::uint32 at = 0; at < report.bytes;) {
        if (isStillWanted && !isStillWanted())
            return {Error::Stopped};
        const zu::u64 wanted = std::min<zu::u64>(block.size(), report.bytes - at);
        zu::u64 done = 0;
        const Outcome outcome =
            file.read(zu::u64{arguments.position} + at, block.data(), wanted, done);
        if (!outcome.succeeded())
            return outcome;
        at += static_cast<dm::uint32>(done);
        if (done != wanted)
            report.bytes = at;
    }
    return {};
}

bool CommandRun::write()
{
    Place place;
    if (data.size() != arguments.count)
        return refuse(arguments.path, "the data does not have as many bytes as announced");
    if (!findWritable(arguments.path, place))
        return false;
    const Outcome outcome = onFolder(place, [&](const auto& folder) {
        return folder.write(place.rest, arguments.position, data.data(), data.size());
    });
    if (!outcome.succeeded())
        return fail(outcome, {&place});
    report.bytes = arguments.count;
    answer.text = textOf(arguments.count);
    return true;
}

bool CommandRun::change()
{
    Place place;
    if (!findWritable(arguments.path, place))
        return false;
    if (command.id == CommandId::CreateDirectory)
        return makeDirectory(place);
    const Outcome outcome = onFolder(place, [&](const auto& folder) {
        return command.id == CommandId::DeleteFile ? folder.removeFile(place.rest)
                                                   : folder.removeDirectory(place.rest);
    });
    return outcome.succeeded() || fail(outcome, {&place});
}

/// One that is there already is as good, the map's own folder included.
bool CommandRun::makeDirectory(const Place& place)
{
    const Outcome outcome =
        onFolder(place, [&](const auto& folder) { return folder.makeDirectory(place.rest); });
    if (outcome.error == Error::Exists || outcome.error == Error::BadPath) {
        Info info;
        const Outcome existing =
            onFolder(place, [&](const auto& folder) { return folder.getInfo(place.rest, info); });
        if (existing.succeeded() && info.isDirectory)
            return true;
    }
    return outcome.succeeded() || fail(outcome, {&place});
}

bool CommandRun::moveOrCopy()
{
    const bool isMove = command.id == CommandId::MoveFile;
    Place from;
    Place to;
    if (!(isMove ? findWritable(arguments.path, from) : find(arguments.path, from)) ||
        !findWritable(arguments.secondPath, to))
        return false;
    const Outcome outcome = onFolder(from, [&](const auto& source) {
        return onFolder(to, [&](const auto& target) {
            return isMove ? source.moveInto(target, from.rest, to.rest, isStillWanted)
                          : source.copyInto(target, from.rest, to.rest, isStillWanted);
        });
    });
    return outcome.succeeded() || fail(outcome, {&from, &to});
}

// Lists.

bool CommandRun::findFiles()
{
    Place place;
    place.path = arguments.path;
    place.map = context.maps.resolve(place.path, place.rest);
    // Games send all patterns, also those that are not for us.
    if (place.map == nullptr)
        return fail("it is in no map");
    if (place.rest.empty() && !endsInSeparator(place.path))
        return findMap(place);
    const std::string wildcard(nameOf(place.rest));
    ListAnswer list;
    const Outcome outcome = onFolder(place, [&](const auto& folder) {
        return folder.list(folderOf(place.rest), wildcard.c_str(), [&](const auto& entry) {
            return list.addFile(entry.isDirectory, entry.size, entry.lastWrite, entry.path);
        });
    });
    return finishList(list, outcome, place);
}

/// The pattern is a map's own name.
bool CommandRun::findMap(const Place& place)
{
    ListAnswer list;
    Info info;
    const Outcome outcome =
        onFolder(place, [&](const auto& folder) { return folder.getInfo("", info); });
    if (outcome.succeeded())
        list.addFile(true, 0, info.lastWrite, nameOf(place.map->getPlainName()));
    return finishList(list, outcome, place);
}

bool CommandRun::findFilesRecursive()
{
    Place place;
    if (!find(arguments.path, place))
        return false;
    const std::string wildcard(arguments.filter);
    std::string path(place.path);
    if (!endsInSeparator(path))
        path += '/';
    const size_t pathBytes = path.size();
    ListAnswer list;
    const auto add = [&](const zu::ConfinedFolder::Entry& entry) {
        path.resize(pathBytes);
        return entry.isDirectory || list.addPath(path += entry.path);
    };
    const Outcome outcome = onFolder(place, [&](const auto& folder) {
        return arguments.isRecursive ? folder.walk(place.rest, wildcard.c_str(), add, isStillWanted)
                                     : folder.list(place.rest, wildcard.c_str(), add);
    });
    return finishList(list, outcome, place);
}

bool CommandRun::tellFolders()
{
    ListAnswer list;
    for (const auto& map : context.maps.getAll())
        list.addFolder(map->getName(), context.options.hidesHostPaths ? "" : map->getHostPath());
    return finishList(list, {}, {});
}

bool CommandRun::finishList(ListAnswer& list, const Outcome& outcome, const Place& place)
{
    if (!outcome.succeeded())
        return fail(outcome, {&place});
    if (list.isCut())
        warn("the list for " + quote(place.path) + " is cut after " + textOf(list.getCount()) +
             " entries: there is no room for more");
    if (list.getUnreadable() != 0)
        warn("the list for " + quote(place.path) + " leaves out " + textOf(list.getUnreadable()) +
             " names that are too long or have a quote in them");
    report.entries = list.getCount();
    answer.data = list.take();
    return true;
}

// Places.

bool CommandRun::find(std::string_view path, Place& outPlace)
{
    outPlace.path = path;
    outPlace.map = context.maps.resolve(path, outPlace.rest);
    // Games take what begins like a map's name for its.
    if (outPlace.map == nullptr)
        return refuse(path, "it is in no map");
    return !isAboutFiles(command.id) || !endsInSeparator(path) || fail("it names a folder");
}

bool CommandRun::findWritable(std::string_view path, Place& outPlace)
{
    if (!find(path, outPlace))
        return false;
    return outPlace.map->isWritable() ||
           refuse(path, "the map " + quote(outPlace.map->getName()) + " is read-only");
}

/// Once more in the folder that has taken the place of one that is gone.
template <typename Operation>
Outcome CommandRun::onFolder(const Place& place, Operation operation)
{
    const FolderMap::Folder folder = place.map->getFolder();
    const Outcome outcome = operation(*folder);
    if (outcome.error != Error::Gone)
        return outcome;
    const FolderMap::Folder another = reopen(*place.map, folder);
    return another ? operation(*another) : outcome;
}

FolderMap::Folder CommandRun::reopen(FolderMap& map, const FolderMap::Folder& gone)
{
    bool isNews = false;
    FolderMap::Folder another = map.reopen(gone, isNews);
    if (isNews)
        warn("the folder of the map " + quote(map.getName()) + " is gone");
    return another;
}

// Why not.

bool CommandRun::fail(const char* why)
{
    if (report.wantsReason)
        report.reason = why;
    return false;
}

bool CommandRun::fail(const Outcome& outcome, std::initializer_list<const Place*> places)
{
    report.bytes = 0;
    if (outcome.error == Error::Stopped) {
        report.isDropped = true;
        return false;
    }
    const Place& first = **places.begin();
    if (outcome.error == Error::BadPath || outcome.error == Error::Outside)
        return refuse(first.path, outcome.getText());
    if (outcome.error == Error::NotFound)
        for (const Place* place : places)
            examineLetterCase(*place);
    if (isWorthAWarning(outcome.error))
        warn(std::string(command.name) + ' ' + quote(first.path) + ": " + outcome.getText());
    if (report.wantsReason)
        report.reason = outcome.getText();
    return false;
}

bool CommandRun::refuse(std::string_view path, const std::string& why)
{
    warn("refused " + std::string(command.name) + ' ' + quote(path) + ": " + why);
    if (report.wantsReason)
        report.reason = why;
    return false;
}

void CommandRun::warn(const std::string& text)
{
    if (!report.warning.empty())
        report.warning += "; ";
    report.warning += text;
}

void CommandRun::examineLetterCase(const Place& place)
{
    if (context.maps.getOptions().letterCase == zu::ConfinedFolder::LetterCase::Ignore)
        return;
    const std::string name(place.map->getPlainName());
    std::string other;
    if (context.caseDoctor.examine(name, *place.map->getFolder(), place.rest, other))
        warn(quote(place.path) + " is not there, but " + quote(name + '/' + other) + " is");
}

} // namespace fileserver
