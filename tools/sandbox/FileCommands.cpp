#include "tools/dm/Sha256.h"
#include "tools/sandbox/Background.h"
#include "tools/sandbox/CommandGroups.h"
#include "tools/sandbox/Commands.h"
#include "tools/sandbox/Latin1.h"

#include <dm/monitor.h>
#include <zul/File.h>
#include <zul/FileSystem.h>
#include <zul/Profile.h>
#include <zul/Timer.h>

#include <algorithm>
#include <memory>
#include <vector>

namespace sandbox {

namespace {

constexpr size_t kMaxListed = 200;
constexpr zu::u64 kMaxShownBytes = 64 * 1024;
constexpr zu::u64 kMaxScriptBytes = 1024 * 1024;

/// Of a file, at most so many bytes.
std::string readSome(const std::string& path, zu::u64 limit)
{
    zu::File file(path.c_str(), zu::File::Read);
    std::string bytes(static_cast<size_t>(std::min(file.getSize(), limit)), '\0');
    bytes.resize(static_cast<size_t>(file.read(bytes.data(), bytes.size())));
    return bytes;
}

/// A part of a script is not what somebody wanted to run.
std::string readScript(const std::string& path)
{
    std::string text = readSome(path, kMaxScriptBytes + 1);
    if (text.size() > kMaxScriptBytes)
        throw CommandError('"' + path + "\" is larger than a file of commands may be, 1 MiB");
    return text;
}

void writeAll(const std::string& path, const std::string& bytes)
{
    zu::File file(path.c_str(), zu::File::Write);
    file.write(bytes.data(), bytes.size());
    file.close();
}

std::vector<std::string> splitLines(const std::string& text)
{
    std::vector<std::string> lines;
    for (size_t at = 0; at < text.size();) {
        const size_t end = std::min(text.find('\n', at), text.size());
        lines.push_back(text.substr(at, end - at));
        at = end + 1;
    }
    return lines;
}

/// The lines of a script: blank ones and those that begin with # or // are left out.
std::vector<std::string> commandLines(const std::string& text)
{
    std::vector<std::string> lines = splitLines(text);
    std::erase_if(lines, [](std::string& line) {
        line.erase(0, line.find_first_not_of(" \t"));
        line.erase(line.find_last_not_of(" \t\r") + 1);
        return line.empty() || line[0] == '#' || line.compare(0, 2, "//") == 0;
    });
    return lines;
}

std::string listFolder(const std::string& folder)
{
    zu::FileSystem& files = zu::FileSystem::get();
    std::string text;
    size_t count = 0;
    zu::FindFileHandle* entry = files.findFirstFile((folder + "/*").c_str());
    for (; entry != nullptr; entry = files.findNextFile(entry)) {
        if (++count > kMaxListed)
            continue;
        const std::string name = toLatin1(files.findGetFileName(entry));
        if (files.findIsDirectory(entry)) {
            text += "  " + name + "/\n";
        } else {
            std::string size = std::to_string(files.findGetFileSize(entry));
            size.insert(0, 12 - std::min<size_t>(size.size(), 12), ' ');
            text += "  " + name + std::string(name.size() < 40 ? 40 - name.size() : 1, ' ') + size +
                    "\n";
        }
    }
    if (count == 0 && !files.directoryExists(folder.c_str()))
        throw CommandError("there is no folder \"" + folder + '"');
    if (count > kMaxListed)
        text += "  and " + std::to_string(count - kMaxListed) + " more\n";
    return text + std::to_string(count) + (count == 1 ? " entry" : " entries");
}

std::string showFile(const std::string& path)
{
    const std::string bytes = readSome(path, kMaxShownBytes + 1);
    std::string text = toLatin1(bytes.substr(0, kMaxShownBytes));
    text.erase(std::remove(text.begin(), text.end(), '\r'), text.end());
    if (bytes.size() > kMaxShownBytes)
        text += "\n(and more: only the first 64 KiB are shown)";
    return text;
}

/// The file, or all files below the folder, in the order of their paths.
std::vector<std::string> filesAt(zu::FileSystem& files, const std::string& path)
{
    if (files.fileExists(path.c_str()))
        return {path};
    if (!files.directoryExists(path.c_str()))
        throw CommandError("there is no file or folder \"" + path + '"');
    zu::FileSystem::PathList found;
    files.listFiles(found, path.c_str(), nullptr, true);
    std::vector<std::string> paths;
    for (const auto& file : found)
        paths.emplace_back(file.c_str());
    std::sort(paths.begin(), paths.end());
    return paths;
}

/// What was read, and how long it took without the hashing.
struct Reading
{
    zu::FileSystem& files;
    const Background& background;
    tool::Sha256 hash{};
    zu::u64 bytes = 0;
    double seconds = 0;

    void add(const std::string& path)
    {
        ZUL_PROFILE_ZONE("read file");
        constexpr zu::u64 kBlockBytes = 1024 * 1024;
        zu::Timer timer;
        zu::File file(path.c_str(), zu::File::Read, files);
        zu::u64 left = file.getSize();
        std::vector<char> block(static_cast<size_t>(std::min(left, kBlockBytes)));
        while (left > 0) {
            const zu::u64 count = file.read(block.data(), std::min(left, kBlockBytes));
            if (count == 0 || background.isEnding())
                throw CommandError('"' + path + "\" could not be read to its end");
            seconds += timer.getElapsed();
            hash.add(block.data(), static_cast<size_t>(count));
            left -= count;
            bytes += count;
            dm::printInPlace(dm::StreamingStatistics, "bytes read", "%llu",
                             static_cast<unsigned long long>(bytes));
            timer.restart();
        }
    }
};

std::string readAll(const std::string& path, zu::FileSystem& files, const Background& background)
{
    Reading reading{files, background};
    const zu::Timer timer;
    const std::vector<std::string> paths = filesAt(files, path);
    reading.seconds = timer.getElapsed();
    for (const std::string& file : paths)
        reading.add(file);
    return zu::str("read %zu files, %llu bytes in %.3f s, %.1f MB/s, sha256 %s", paths.size(),
                   static_cast<unsigned long long>(reading.bytes), reading.seconds,
                   static_cast<double>(reading.bytes) / 1e6 / reading.seconds,
                   reading.hash.finish().c_str())
        .c_str();
}

std::string pathOf(const CommandText& text)
{
    if (text.words.empty())
        throw CommandError("which file?");
    return toUtf8(text.words[0]);
}

/// Paths are UTF-8 where they are used and in what is thrown because of them.
std::string problemOf(const char* command, const std::exception& error)
{
    return std::string(command) + ": " + toLatin1(error.what());
}

/// What a file command does: work on some thread, whose text is printed.
Background::Work printing(const char* command, Output& output, std::function<std::string()> work)
{
    return [command, &output, work = std::move(work)]() -> Background::Finish {
        std::string text;
        try {
            text = work();
        } catch (const std::exception& error) {
            text = problemOf(command, error);
        }
        return [&output, text] { output.print(text); };
    };
}

/// The same for bytes that become a file.
Background::Work writing(const char* command, Output& output, std::string path, std::string bytes)
{
    return printing(command, output, [path = std::move(path), bytes = std::move(bytes)] {
        writeAll(path, bytes);
        return "wrote " + std::to_string(bytes.size()) + " bytes";
    });
}

// Aside: it may be a lot, and other files are not to wait for it. The file system is the one that
// is installed now: it is not when its server is gone for a while, and this goes on then.
void read(Background& background, Output& output, const CommandText& text)
{
    const std::string path = pathOf(text);
    zu::FileSystem& files = zu::FileSystem::get();
    const auto reading = [path, &files, &background] { return readAll(path, files, background); };
    if (!background.aside(printing("read", output, reading)))
        throw CommandError("too much is being read");
}

void exec(Commands& commands, Background& background, Output& output, const CommandText& text)
{
    const std::string path = pathOf(text);
    commands.pause();
    background.inOrder([&commands, &output, path]() -> Background::Finish {
        auto lines = std::make_shared<std::vector<std::string>>();
        std::string problem;
        try {
            *lines = commandLines(toLatin1(readScript(path)));
        } catch (const std::exception& error) {
            problem = problemOf("exec", error);
        }
        return [&commands, &output, lines, problem] {
            if (!problem.empty())
                output.print(problem);
            commands.resume(*lines);
        };
    });
}

} // namespace

void addFileCommands(Commands& commands, Background& background, Output& output)
{
    commands.add({"exec", "FILE",
                  "Runs the lines of a file. Blank lines and those that begin with # are left out.",
                  [&](const CommandText& text) { exec(commands, background, output, text); }});
    commands.add({"ls", "[FOLDER]", "Lists a folder.", [&](const CommandText& text) {
                      const std::string folder = text.words.empty() ? "." : pathOf(text);
                      background.inOrder(
                          printing("ls", output, [folder] { return listFolder(folder); }));
                  }});
    commands.add({"cat", "FILE", "Prints a file.", [&](const CommandText& text) {
                      const std::string path = pathOf(text);
                      background.inOrder(
                          printing("cat", output, [path] { return showFile(path); }));
                  }});
    commands.add({"read", "PATH",
                  "Reads a file, or all files below a folder, and tells how much that was, how "
                  "fast it came, and the SHA-256 of it all in the order of the paths.",
                  [&](const CommandText& text) { read(background, output, text); }});
    commands.add({"write", "FILE TEXT",
                  "Writes a text into a file, with a line end. What was in the file is gone.",
                  [&](const CommandText& text) {
                      background.inOrder(
                          writing("write", output, pathOf(text), toUtf8(text.restFrom(1)) + '\n'));
                  }});
    commands.add(
        {"dump", "FILE", "Writes what was entered and printed since the start into a file.",
         [&](const CommandText& text) {
             background.inOrder(writing("dump", output, pathOf(text), toUtf8(output.transcript())));
         }});
}

} // namespace sandbox
