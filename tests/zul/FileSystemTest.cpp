#include "FileFixture.h"

#include <zul/FileUtils.h>

#include <atomic>
#include <cstdlib>
#include <latch>
#include <thread>

using testing::ElementsAre;
using zu::BaseFile;
using zu::File;
using zu::FileHandle;
using zu::FileSystem;
using zu::FindFileHandle;
using zu::u64;

class LocalFileSystem : public FileFixture
{
protected:
    FileHandle* open(const std::string& name, BaseFile::Mode mode)
    {
        return files.openFile(at(name).c_str(), mode);
    }
    bool move(const char* from, const char* to, bool replace)
    {
        return files.moveFile(at(from).c_str(), at(to).c_str(), replace);
    }
    bool copy(const char* from, const char* to)
    {
        return files.copyFile(at(from).c_str(), at(to).c_str());
    }
};

TEST_F(LocalFileSystem, OpensNothingButRegularFilesAndNeverWaits)
{
    EXPECT_EQ(files.openFile("/dev/zero", BaseFile::Read), nullptr);
    ASSERT_EQ(std::system(("mkfifo " + at("pipe")).c_str()), 0);
    EXPECT_FALSE(open("pipe", BaseFile::Read) || open("pipe", BaseFile::Write));
    EXPECT_FALSE(files.fileExists(at("pipe").c_str()));
}

TEST_F(LocalFileSystem, MovesReplaceOnlyWhenToldAndKeepWhatIsThereAlready)
{
    make("a", "A");
    make("b", "B");
    EXPECT_FALSE(move("a", "b", false));
    EXPECT_EQ(contentOf("b"), "B");
    EXPECT_TRUE(move("a", "new", false));
    std::filesystem::create_hard_link(at("new"), at("link"));
    EXPECT_FALSE(move("link", "new", false));
    EXPECT_TRUE(move("link", "new", true));
    EXPECT_TRUE(move("new", "./new", true));
    EXPECT_THAT(names(), ElementsAre("b", "new"));
}

TEST_F(LocalFileSystem, MovesAcrossDisksWithTimeAndContent)
{
    if (!std::filesystem::is_directory("/dev/shm"))
        GTEST_SKIP() << "no second disk";
    std::filesystem::path elsewhere = "/dev/shm/" + folder.filename().string();
    make("file", std::string(700000, 'm'));
    auto time = std::filesystem::last_write_time(at("file")) - std::chrono::hours(5);
    std::filesystem::last_write_time(at("file"), time);
    ASSERT_TRUE(files.moveFile(at("file").c_str(), elsewhere.c_str(), false));
    EXPECT_EQ(std::filesystem::last_write_time(elsewhere), time);
    make("file", "in the way");
    EXPECT_FALSE(files.moveFile(elsewhere.c_str(), at("file").c_str(), false));
    EXPECT_TRUE(files.moveFile(elsewhere.c_str(), at("file").c_str(), true));
    EXPECT_FALSE(std::filesystem::exists(elsewhere));
    EXPECT_EQ(contentOf("file"), std::string(700000, 'm'));
}

TEST_F(LocalFileSystem, FailedCopyLeavesTheTargetAndNothingElse)
{
    make("target", "old");
    make("sub/file");
    EXPECT_FALSE(copy("missing", "target") || copy("sub", "target") || copy("target", "sub"));
    // A file that opens and then cannot be read: the copy fails in the middle.
    EXPECT_FALSE(files.copyFile("/proc/self/mem", at("target").c_str()));
    EXPECT_EQ(contentOf("target"), "old");
    EXPECT_THAT(names(), ElementsAre("sub", "target"));
}

TEST_F(LocalFileSystem, CopiesReplaceInOneStepForEveryoneWatching)
{
    make("a", std::string(600000, 'a'));
    make("b", std::string(600000, 'b'));
    ASSERT_TRUE(copy("a", "target"));
    std::atomic<int> running{2};
    auto copyRepeatedly = [&](const char* from) {
        for (int round = 0; round < 20; ++round)
            EXPECT_TRUE(copy(from, "target"));
        --running;
    };
    std::thread first(copyRepeatedly, "a"), second(copyRepeatedly, "b");
    for (std::string seen = "?"; running != 0; seen = contentOf("target"))
        EXPECT_TRUE(seen == "?" || seen == std::string(600000, seen[0])) << seen.size();
    first.join();
    second.join();
    EXPECT_THAT(names(), ElementsAre("a", "b", "target"));
}

TEST_F(LocalFileSystem, TimesCountFrom1601)
{
    constexpr u64 kStartOf2024 = (1'704'067'200ull + 11'644'473'600ull) * 10'000'000ull;
    constexpr u64 kFarFuture = ~0ull / 10 * 9; // beyond s64, and beyond what many disks keep
    make("file", "12345");
    FileHandle* handle = open("file", BaseFile::ReadWrite);
    files.setFileTime(handle, File::Time(), File::Time::fromTicks(kFarFuture));
    EXPECT_GT(files.getFileTime(handle).toTicks(), kStartOf2024);
    EXPECT_LE(files.getFileTime(handle).toTicks(), kFarFuture);
    files.setFileTime(handle, File::Time(), File::Time::fromTicks(kStartOf2024 + 7));
    files.setFileTime(handle, File::Time::fromTicks(kStartOf2024), File::Time());
    files.closeFile(handle);

    u64 size = 1;
    u64 time = 2;
    EXPECT_FALSE(files.getFileAttributes(folder.c_str(), size, time));
    EXPECT_EQ(size + time, 3u);
    EXPECT_TRUE(files.getFileAttributes(at("file").c_str(), size, time));
    EXPECT_TRUE(size == 5 && time == kStartOf2024 + 7);
}

TEST_F(LocalFileSystem, SearchSkipsEntriesThatWentAwayMeanwhile)
{
    make("A.txt");
    make("b.txt");
    make("_");
    FindFileHandle* entry = files.findFirstFile(at("*").c_str());
    files.deleteFile(at("A.txt").c_str());
    entry = files.findNextFile(entry);
    EXPECT_STREQ(files.findGetFileName(entry), "b.txt");
    files.findClose(entry);
}

TEST_F(LocalFileSystem, WalksEndDespiteLinksThatLeadBack)
{
    make("a/one.txt");
    make("b/two.txt");
    std::filesystem::create_directory_symlink("../b", folder / "a/to_b");
    std::filesystem::create_directory_symlink("../a", folder / "b/to_a");
    std::filesystem::create_directory_symlink("..", folder / "b/up");
    std::filesystem::create_symlink("nowhere", folder / "dangling.txt");
    FileSystem::PathList found;
    files.listFiles(found, folder.c_str(), "*.txt", true);
    EXPECT_THAT(relative(found), ElementsAre("dangling.txt", "a/one.txt", "a/to_b/two.txt",
                                             "b/two.txt", "b/to_a/one.txt"));
    files.findSubfolders(found, folder.c_str(), false);
    EXPECT_THAT(relative(found), ElementsAre("a", "b"));
    files.findSubfolders(found, folder.c_str(), true);
    EXPECT_THAT(relative(found), ElementsAre("a", "b", "a/to_b", "b/to_a"));
    // A search left open is a leak that the sanitizer reports.
    FileSystem::FileFilter throwing = [](const char*, const char*) -> bool { throw 1; };
    EXPECT_THROW(files.listFiles(found, folder.c_str(), "*", throwing, true), int);
}

using FileSystemBase = LocalFileSystem;

// Whatever folder is asked for has a hundred folders and a file, and names that lead elsewhere.
class EndlessFileSystem : public zu::LocalFileSystem
{
public:
    struct Search : FindFileHandle
    {
        size_t at = 0;
    };
    static size_t& at(FindFileHandle* handle) { return static_cast<Search*>(handle)->at; }

    FindFileHandle* findFirstFile(const char*) override { return new Search; }
    FindFileHandle* findNextFile(FindFileHandle* handle) override
    {
        if (++at(handle) < 105)
            return handle;
        findClose(handle);
        return nullptr;
    }
    const char* findGetFileName(FindFileHandle* handle) override
    {
        constexpr const char* kNames[] = {"file", "", "a/b", "..", ".", "folder"};
        return kNames[std::min<size_t>(at(handle), 5)];
    }
    bool findIsDirectory(FindFileHandle* handle) override { return at(handle) != 0; }
};

TEST_F(FileSystemBase, AWalkThroughFoldersWithoutEndEnds)
{
    EndlessFileSystem endless;
    FileSystem::PathList found;
    endless.findSubfolders(found, "x", false);
    EXPECT_EQ(found.size(), 100u);
    testing::internal::CaptureStderr();
    endless.listFiles(found, "x", "file", true);
    EXPECT_NE(testing::internal::GetCapturedStderr().find("below \"x\""), std::string::npos);
    EXPECT_STREQ(found[0].c_str(), "x/file");
    EXPECT_LE(found.size(), FileSystem::kMaxFoldersWalked / 100 + 1);
}

// Reads only when the gate is open.
class GatedFileSystem : public zu::LocalFileSystem
{
public:
    u64 readFile(FileHandle* handle, void* buffer, u64 count) override
    {
        gate.wait();
        return zu::LocalFileSystem::readFile(handle, buffer, count);
    }

    std::latch gate{1};
};

TEST_F(FileSystemBase, AsynchronousReadsCompleteInOrderUntilOneClosesTheFile)
{
    make("file", "abcdef");
    GatedFileSystem gated;
    FileHandle* handle = gated.openFile(at("file").c_str(), BaseFile::Read);
    char bytes[4][3] = {};
    std::vector<u64> counts;
    std::latch closed(1);
    FileSystem::ReadCallback note = [&](FileHandle*, u64 count) { counts.push_back(count); };
    gated.readFileAsync(handle, bytes[0], 2, note);
    gated.readFileAsync(handle, bytes[1], 2, FileSystem::ReadCallback());
    gated.readFileAsync(handle, bytes[2], 3, [&](FileHandle* done, u64 count) {
        gated.closeFile(done); // which fails the last read
        counts.push_back(count);
        closed.count_down();
    });
    gated.readFileAsync(handle, bytes[3], 1, note);
    gated.gate.count_down();
    closed.wait();
    EXPECT_THAT(counts, ElementsAre(2u, 0u, 2u));
    EXPECT_EQ(std::string(bytes[0]) + bytes[1] + bytes[2], "abcdef");
}

TEST_F(FileSystemBase, ClosingEndsAChainOfReadsThatNeverEndsByItself)
{
    make("file", "abcdef");
    FileHandle* handle = open("file", BaseFile::Read);
    char bytes[2];
    std::latch started(3);
    std::atomic<int> failed{0};
    FileSystem::ReadCallback again = [&](FileHandle* read, u64 count) {
        failed += count == 0;
        if (count != 0) {
            if (!started.try_wait())
                started.count_down();
            files.seekFile(read, 0, BaseFile::SeekFromStart);
            files.readFileAsync(read, bytes, 2, again);
        }
    };
    files.readFileAsync(handle, bytes, 2, again);
    started.wait();
    EXPECT_TRUE(files.closeFile(handle));
    EXPECT_EQ(failed, 1);
}

// Would take longer than anyone waits if every star were tried with every length.
TEST(FileUtils, ManyStarsCostNoMoreThanTheirNumber)
{
    std::string pattern;
    for (int star = 0; star < 40; ++star)
        pattern += "*a";
    const std::string name(5000, 'a');
    EXPECT_TRUE(zu::FileUtils::matchesWildcard(pattern.c_str(), name.c_str()));
    EXPECT_FALSE(zu::FileUtils::matchesWildcard((pattern + "b").c_str(), name.c_str()));
}
