// What a file system does, whichever it is: the local one, a file server's in another process, and
// one that answers canned bytes, which also fixes what is asked and in which order.
#include "support/ChildProcess.h"
#include "support/ScriptedFileServer.h"
#include "zul/FileFixture.h"

#include <dm/fs.h>
#include <zul/BufferedMemoryFile.h>
#include <zul/FileStream.h>

#include <regex>

using namespace support;
using testing::ElementsAre;
using testing::IsEmpty;
using zu::File;
using zu::FileHandle;
using zu::FileSystem;
using zu::FindFileHandle;
using zu::u64;

#ifndef DM_TOOL_PATH
#define DM_TOOL_PATH "" // built without the tools: no server to ask
#endif

namespace {

enum class Kind
{
    Local,
    Served,
    Canned
};

std::vector<Kind> kinds()
{
    if (*DM_TOOL_PATH == '\0')
        return {Kind::Local, Kind::Canned};
    return {Kind::Local, Kind::Canned, Kind::Served};
}

/// "\xNN" is a byte, everything else stands for itself.
std::string unescape(std::string text)
{
    for (size_t at = 0; (at = text.find("\\x", at)) != text.npos; ++at)
        text.replace(at, 4, 1, static_cast<char>(std::stoi(text.substr(at + 2, 2), nullptr, 16)));
    return text;
}

struct Exchange
{
    std::string command, data;
    Answer answer;
};

/// What stands under "== CASE" in ConformanceAnswers.txt, exchange after exchange, with the data
/// that went along behind "<<". Each case begins with the folders being asked for, which is not
/// written down.
///
///     write 0 2 "work/a" << ab => 2 ; getFileSize "work/a" => 2
///     findFiles "work/*" => << 1\x000 2 9 "a"\x00
std::vector<Exchange> readCannedAnswers(const std::string& testName)
{
    const std::regex exchange("(.+?)( << (.*?))? =>( (?!<< )(.*?))?( << (.*?))?( ; |$)");
    const std::string header = "== " + testName.substr(0, testName.find('/'));
    std::ifstream file(DM_SOURCE_PATH "/tests/dm/fs/ConformanceAnswers.txt");
    std::string line;
    while (line != header && std::getline(file, line))
        ;
    std::vector<Exchange> found = {
        {"getMappedFolders", "", {"true", listOf({"1", "work,/home/me/work"})}}};
    while (std::getline(file, line) && !line.starts_with("== "))
        for (std::sregex_iterator at(line.begin(), line.end(), exchange), end; at != end; ++at)
            found.push_back({(*at)[1], unescape((*at)[3]), {(*at)[5], unescape((*at)[7])}});
    EXPECT_GT(found.size(), 1u) << "nothing under " << header;
    return found;
}

std::string nameOf(const testing::TestParamInfo<Kind>& info)
{
    return std::vector{"Local", "Served", "Canned"}[static_cast<size_t>(info.param)];
}

} // namespace

class FileSystemConformance : public FileFixture, public testing::WithParamInterface<Kind>
{
protected:
    FileSystemConformance()
    {
        if (GetParam() == Kind::Served)
            startServer();
        else if (GetParam() == Kind::Canned)
            followScript();
        if (GetParam() != Kind::Local)
            root = "work";
    }

    ~FileSystemConformance() override
    {
        FileSystem::set(nullptr);
        dm::deinitCommunicationManagers();
        if (canned) {
            EXPECT_EQ(canned->takeCommands(), expectedCommands);
            EXPECT_EQ(canned->writtenData(), expectedData);
        }
    }

    void startServer()
    {
        server.emplace(std::vector<std::string>{DM_TOOL_PATH, "serve", "--port", "0", "--map",
                                                "work=" + folder.string() + ":rw"});
        std::string line;
        while (!line.starts_with("dm: listening on "))
            line = server->readErrorLine().value();
        connect(std::stoi(line.substr(line.rfind(':') + 1)));
    }

    void followScript()
    {
        canned.emplace();
        const char* name = testing::UnitTest::GetInstance()->current_test_info()->name();
        for (const auto& [command, data, answer] : readCannedAnswers(name)) {
            canned->answerOnce(command, answer);
            expectedCommands.push_back(command);
            expectedData += data;
        }
        connect(static_cast<int>(canned->port()));
    }

    void connect(int port)
    {
        dm::initCommunicationManagerAsClient("game", "127.0.0.1", port);
        remote.emplace(files);
        ASSERT_TRUE(waitUntil([&] { return remote->isPipeAcquired(); }));
    }

    FileSystem& fs() { return remote ? static_cast<FileSystem&>(*remote) : files; }
    std::string path(const std::string& name) const { return root + "/" + name; }

    bool write(const std::string& name, std::string bytes, File::Mode mode = File::Write)
    {
        FileHandle* handle = fs().openFile(path(name).c_str(), mode);
        const u64 written = fs().writeFile(handle, bytes.data(), bytes.size());
        return fs().closeFile(handle) && written == bytes.size();
    }

    std::string read(const std::string& name)
    {
        FileHandle* handle = fs().openFile(path(name).c_str(), File::Read);
        std::string bytes(fs().getFileSize(handle), '?');
        bytes.resize(fs().readFile(handle, bytes.data(), bytes.size()));
        fs().closeFile(handle);
        return bytes;
    }

    bool exists(const std::string& name) { return fs().fileExists(path(name).c_str()); }
    bool isFolder(const std::string& name) { return fs().directoryExists(path(name).c_str()); }
    bool makeFolder(const std::string& name) { return fs().createDirectory(path(name).c_str()); }
    bool removeFolder(const std::string& name) { return fs().deleteDirectory(path(name).c_str()); }
    bool remove(const std::string& name) { return fs().deleteFile(path(name).c_str()); }
    bool move(const std::string& from, const std::string& to)
    {
        return fs().moveFile(path(from).c_str(), path(to).c_str(), true);
    }
    bool copy(const std::string& from, const std::string& to)
    {
        return fs().copyFile(path(from).c_str(), path(to).c_str());
    }

    std::vector<std::string> find(const std::string& pattern)
    {
        return FileFixture::find(fs(), path(pattern));
    }

    std::optional<ChildProcess> server;
    std::optional<ScriptedFileServer> canned;
    std::vector<std::string> expectedCommands;
    std::string expectedData;
    std::optional<dm::NetworkFileSystem> remote;
};

INSTANTIATE_TEST_SUITE_P(Over, FileSystemConformance, testing::ValuesIn(kinds()), nameOf);

TEST_P(FileSystemConformance, WhatWasWrittenIsRead)
{
    EXPECT_TRUE(write("a", "0123456789"));
    EXPECT_EQ(read("a"), "0123456789");
    EXPECT_TRUE(write("a", "ab", File::ReadWrite)) << "which keeps the rest";
    EXPECT_EQ(read("a"), "ab23456789");
    EXPECT_TRUE(write("a", "x", File::Append)) << "whose handles begin at 0";
    EXPECT_EQ(read("a"), "xb23456789");
    EXPECT_TRUE(write("a", "anew"));
    EXPECT_EQ(read("a"), "anew");
    EXPECT_TRUE(write("a", ""));
    EXPECT_EQ(read("a"), "");
    EXPECT_EQ(fs().openFile(path("missing").c_str(), File::Read), nullptr);
    EXPECT_EQ(fs().openFile(path("").c_str(), File::Read), nullptr) << "it is a folder";
    EXPECT_FALSE(write("no/such/folder", "x"));
}

TEST_P(FileSystemConformance, APositionMovesWithReadsAndWritesAndBySeeking)
{
    FileHandle* handle = fs().openFile(path("a").c_str(), File::Write);
    char digits[] = "0123456789";
    EXPECT_EQ(fs().writeFile(handle, digits, 10), 10u);
    EXPECT_EQ(fs().getCurrentPosition(handle), 10u);
    EXPECT_EQ(fs().seekFile(handle, 3, File::SeekFromEnd), 7u);
    EXPECT_EQ(fs().seekFile(handle, -2, File::SeekFromCurrent), 5u);
    char bytes[8] = {};
    EXPECT_EQ(fs().readFile(handle, bytes, 3), 3u);
    EXPECT_EQ(fs().readFile(handle, bytes + 3, 5), 2u);
    EXPECT_STREQ(bytes, "56789");
    EXPECT_EQ(fs().readFile(handle, bytes, 1), 0u);
    EXPECT_EQ(fs().seekFile(handle, 20, File::SeekFromEnd), 0ull - 10) << "as far as it is told";
    EXPECT_EQ(fs().seekFile(handle, 1, static_cast<File::SeekMode>(3)), 0ull - 10);
    fs().seekFile(handle, 12, File::SeekFromStart);
    EXPECT_EQ(fs().readFile(handle, bytes, 1), 0u);
    EXPECT_EQ(fs().writeFile(handle, digits, 1), 1u);
    EXPECT_EQ(fs().getFileSize(handle), 13u);
    EXPECT_TRUE(fs().flushFileBuffers(handle));
    EXPECT_TRUE(fs().closeFile(handle));
    EXPECT_EQ(read("a"), "0123456789" + std::string(2, '\0') + "0");
}

TEST_P(FileSystemConformance, FilesAndFoldersAreNotTheSame)
{
    EXPECT_TRUE(makeFolder("folder"));
    EXPECT_TRUE(makeFolder("folder")) << "it is there";
    EXPECT_TRUE(write("folder\\file", "x")) << "both separators";
    EXPECT_TRUE(exists("folder/file") && !exists("folder") && !exists("missing"));
    EXPECT_TRUE(isFolder("folder") && !isFolder("folder/file") && !isFolder("missing"));
    EXPECT_FALSE(makeFolder("folder/file") || makeFolder("missing/folder"));
    EXPECT_FALSE(remove("folder") || remove("missing") || removeFolder("folder/file"));
    EXPECT_FALSE(removeFolder("folder")) << "it is not empty";
    EXPECT_TRUE(remove("folder/file") && removeFolder("folder"));
    EXPECT_FALSE(removeFolder("folder"));
}

TEST_P(FileSystemConformance, MovesAndCopiesReplaceFilesButNoFolders)
{
    for (const char* name : {"a", "b"})
        write(name, name);
    makeFolder("folder");
    EXPECT_TRUE(copy("a", "copy") && copy("a", "b"));
    for (const char* name : {"copy", "b", "a"})
        EXPECT_EQ(read(name), "a");
    EXPECT_FALSE(copy("missing", "b") || copy("folder", "new") || copy("a", "folder"));
    EXPECT_TRUE(move("copy", "moved") && move("a", "b") && move("moved", "folder/moved"));
    EXPECT_FALSE(exists("a") || exists("moved"));
    EXPECT_FALSE(move("missing", "b") || move("b", "folder") || move("b", "missing/b"));
    EXPECT_TRUE(move("folder", "renamed"));
    EXPECT_EQ(read("renamed/moved"), "a");
}

TEST_P(FileSystemConformance, AReadOnlyFileIsLeftAlone)
{
    write("other", "other");
    makeReadOnly("locked", "precious");
    EXPECT_TRUE(fs().isFileReadOnly(path("locked").c_str()));
    EXPECT_FALSE(fs().isFileReadOnly(path("other").c_str()));
    EXPECT_FALSE(fs().isFileReadOnly(path("missing").c_str()));
    EXPECT_FALSE(remove("locked") || move("other", "locked") || copy("other", "locked"));
    EXPECT_FALSE(write("locked", "x") || write("locked", "x", File::ReadWrite));
    EXPECT_EQ(read("locked"), "precious");
}

TEST_P(FileSystemConformance, SearchesFindOneFoldersNamesInOrder)
{
    for (const char* name : {"b.TXT", "A.txt", "c.txt", "_d.txt", "none"})
        write(name, name);
    makeFolder("sub");
    write("sub/e.txt", "");
    EXPECT_THAT(find("*.txt"), ElementsAre("_d.txt 6", "A.txt 5", "b.TXT 5", "c.txt 5"));
    EXPECT_THAT(find("S*"), ElementsAre("sub/"));
    EXPECT_THAT(find("sub/?.*"), ElementsAre("e.txt 0"));
    EXPECT_THAT(find("none"), ElementsAre("none 4"));
    EXPECT_EQ(find("*.*").size(), 6u);
    EXPECT_THAT(find("*.map"), IsEmpty());
    EXPECT_THAT(find("missing/*"), IsEmpty());
    EXPECT_THAT(find("none/*"), IsEmpty());
    FindFileHandle* entry = fs().findFirstFile(path("*").c_str());
    fs().findClose(entry);
}

TEST_P(FileSystemConformance, ListsHaveWholePathsOfFilesThatAreWanted)
{
    for (const char* name : {"x", "x/deep", "y"})
        makeFolder(name);
    for (const char* name : {"a.map", "b.txt", "x/c.map", "x/deep/d.map"})
        write(name, "");
    FileSystem::PathList found;
    fs().listFiles(found, root.c_str(), nullptr, false);
    EXPECT_THAT(relative(found), ElementsAre("a.map", "b.txt"));
    fs().listFiles(found, root.c_str(), "*.MAP", true);
    EXPECT_THAT(relative(found), ElementsAre("a.map", "x/c.map", "x/deep/d.map"));
    const auto notC = [](const char* name, const char*) { return *name != 'c'; };
    fs().listFiles(found, (root + "/x/").c_str(), nullptr, notC, true);
    EXPECT_THAT(relative(found), ElementsAre("x/deep/d.map"));
    fs().listFiles(found, path("missing").c_str(), nullptr, true);
    EXPECT_TRUE(found.empty());
    fs().findSubfolders(found, root.c_str(), true);
    EXPECT_THAT(relative(found), ElementsAre("x", "y", "x/deep"));
}

TEST_P(FileSystemConformance, TimesAreTheSameWhicheverWayTheyAreAsked)
{
    constexpr u64 kStartOf2024 = (1'704'067'200ull + 11'644'473'600ull) * 10'000'000ull;
    write("a", "12345");
    u64 size = 0;
    u64 time = 0;
    EXPECT_TRUE(fs().getFileAttributes(path("a").c_str(), size, time));
    EXPECT_EQ(size, 5u);
    EXPECT_GT(time, kStartOf2024);
    FindFileHandle* entry = fs().findFirstFile(path("a").c_str());
    EXPECT_EQ(fs().findGetFileTime(entry), time);
    fs().findClose(entry);
    FileHandle* handle = fs().openFile(path("a").c_str(), File::Read);
    EXPECT_EQ(fs().getFileTime(handle).toTicks(), time);
    fs().closeFile(handle);
    EXPECT_FALSE(fs().getFileAttributes(path("missing").c_str(), size, time));
    EXPECT_EQ(size, 5u) << "untouched";
}

TEST_P(FileSystemConformance, TheRuntimesFilesWorkWhenItIsInstalled)
{
    FileSystem::set(&fs());
    {
        File file(path("a").c_str(), File::Write);
        zu::FileStream stream(file);
        for (int i = 0; i < 3; ++i)
            stream << i << "text";
        file.seek(0, File::SeekFromStart);
        int first = 1;
        stream >> first;
        EXPECT_EQ(first, 0);
    }
    EXPECT_EQ(zu::BufferedMemoryFile(path("a").c_str()).getSize(), 36u);
    EXPECT_THROW(File(path("missing").c_str(), File::Read), zu::FileException_FileOpenFailed);

    FileHandle* handle = fs().openFile(path("a").c_str(), File::Read);
    char bytes[8] = {};
    std::promise<u64> done;
    fs().readFileAsync(handle, bytes, 8, [&](FileHandle*, u64 count) { done.set_value(count); });
    EXPECT_EQ(done.get_future().get(), 8u);
    fs().closeFile(handle);
    EXPECT_EQ(std::string(bytes, 8), std::string("\0\0\0\0\4\0\0\0", 8));
}
