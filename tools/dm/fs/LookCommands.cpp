/// folders, ls, stat, cat, find: they print what the server has.
#include "tools/dm/CommonOptions.h"
#include "tools/dm/Files.h"
#include "tools/dm/Text.h"
#include "tools/dm/fs/CopyPlan.h"
#include "tools/dm/fs/FsCommands.h"

#include <zul/Terminal.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <utility>

namespace tool {

namespace {

using Entry = RemoteFiles::Entry;

void printRaw(const std::string& line) { writeOutput(line.data(), line.size()); }

void printLine(const std::string& text) { printRaw(escapeControls(text) + "\n"); }

nlohmann::ordered_json toJson(const Entry& entry, const std::string& path)
{
    nlohmann::ordered_json object;
    object["path"] = path;
    object["type"] = entry.isFolder ? "folder" : "file";
    if (!entry.isFolder)
        object["size"] = entry.size;
    const std::string time = describeTime(entry.time);
    if (!time.empty())
        object["time"] = time;
    return object;
}

/// "-        1234 2026-11-21T17:30:00Z "
std::string describeLong(const Entry& entry)
{
    const std::string time = describeTime(entry.time);
    std::array<char, 64> text;
    std::snprintf(text.data(), text.size(), "%c %11s %20s ", entry.isFolder ? 'd' : '-',
                  entry.isFolder ? "" : std::to_string(entry.size).c_str(),
                  time.empty() ? "-" : time.c_str());
    return text.data();
}

void printEntry(const FsTask& task, const ListOptions& options, const Entry& entry,
                const std::string& shownName, const std::string& path)
{
    if (task.format == Format::Json)
        printJsonLine(toJson(entry, path));
    else
        printLine((options.isLong ? describeLong(entry) : "") + shownName +
                  (entry.isFolder ? "/" : ""));
}

/// What is shown is what goes to a terminal unharmed, also when a character spans two pieces.
class ContentPrinter
{
public:
    void print(const char* data, std::size_t size)
    {
        if (!isSeen) {
            writeOutput(data, size);
            return;
        }
        held.append(data, size);
        const bool isSplit = !held.empty() && held.back() == '\xC2';
        const std::string shown =
            escapeForTerminal(std::string_view(held).substr(0, held.size() - (isSplit ? 1 : 0)));
        printRaw(shown);
        held = isSplit ? "\xC2" : "";
    }

    void end() { printRaw(std::exchange(held, "")); }

private:
    const bool isSeen = zu::isTerminal(zu::StandardStream::Output);
    std::string held;
};

void printFile(const FsTask& task, const std::string& path)
{
    constexpr std::size_t kPieceBytes = 1024 * 1024;
    if (task.files.kindOf(path) == RemoteFiles::Kind::Folder)
        throw FileError("'" + path + "' is a folder");
    RemoteFile file(task.files, path, zu::File::Read);
    requireSendableSize(path, file.size());
    std::vector<char> piece(kPieceBytes);
    ContentPrinter printer;
    file.readPieces(file.size(), piece,
                    [&](const char* data, std::size_t count) { printer.print(data, count); });
    printer.end();
}

} // namespace

void printFolders(const FsTask& task)
{
    for (const MappedFolder& folder : task.files.mappedFolders()) {
        if (task.format == Format::Json) {
            nlohmann::ordered_json object;
            object["name"] = folder.name;
            if (!folder.hostPath.empty())
                object["host_path"] = folder.hostPath;
            printJsonLine(object);
        } else
            printRaw(escapeControls(folder.name) + (folder.hostPath.empty() ? "" : "\t") +
                     escapeControls(folder.hostPath) + "\n");
    }
}

void printList(const FsTask& task, const ListOptions& options)
{
    if (options.path.empty()) {
        ListOptions below = options;
        for (const MappedFolder& folder : task.files.mappedFolders()) {
            printEntry(task, options, {folder.name, true, 0, 0}, folder.name, folder.name);
            below.path = folder.name;
            if (options.isRecursive && !folder.name.empty())
                task.problems.attempt([&] { printList(task, below); });
        }
        return;
    }
    task.files.check(options.path);
    const Entry self = task.files.describe(options.path);
    if (!self.isFolder)
        printEntry(task, options, self, options.path, options.path);
    else if (options.isRecursive)
        walk(task.files, options.path, task.problems,
             [&](const std::string& below, const Entry& entry) {
                 const std::string path = join(options.path, below);
                 printEntry(task, options, entry, path, path);
             });
    else {
        const RemoteFiles::Listing listing = task.files.list(options.path);
        for (const Entry& entry : listing.entries)
            printEntry(task, options, entry, entry.name, join(options.path, entry.name));
        if (listing.mayBeCut)
            task.problems.fail(describeCut(options.path));
    }
}

void printInfo(const FsTask& task, const std::vector<std::string>& paths)
{
    for (const std::string& path : paths)
        task.problems.attempt([&] {
            task.files.check(path);
            const Entry entry = task.files.describe(path);
            const bool isReadOnly = !entry.isFolder && task.files.isReadOnly(path);
            if (task.format == Format::Json) {
                nlohmann::ordered_json object = toJson(entry, path);
                if (!entry.isFolder)
                    object["read_only"] = isReadOnly;
                printJsonLine(object);
                return;
            }
            const std::string time = describeTime(entry.time);
            printLine(
                path + ": " +
                (entry.isFolder ? "folder" : "file, " + std::to_string(entry.size) + " bytes") +
                (time.empty() ? "" : ", " + time) + (isReadOnly ? ", read-only" : ""));
        });
}

void printContent(const FsTask& task, const std::vector<std::string>& paths)
{
    for (const std::string& path : paths)
        task.problems.attempt([&] {
            task.files.check(path);
            printFile(task, path);
        });
}

void printFound(const FsTask& task, const std::string& pattern)
{
    const std::string folder(parentOf(pattern));
    if (folder.empty() || trimEnd(pattern).size() != pattern.size())
        throw FileError("'" + pattern + "' has no folder and wildcard: write FOLDER/WILDCARD, as " +
                        "in 'data/*.map'");
    task.files.check(pattern);
    task.files.check(folder);
    if (task.files.kindOf(folder) != RemoteFiles::Kind::Folder)
        throw FileError("'" + folder + "' is no folder of the server's");
    std::vector<std::string> found = task.files.find(folder, std::string(lastName(pattern)));
    std::sort(found.begin(), found.end());
    for (const std::string& path : found) {
        if (task.format == Format::Json) {
            nlohmann::ordered_json object;
            object["path"] = path;
            printJsonLine(object);
        } else
            printLine(path);
    }
}

} // namespace tool
