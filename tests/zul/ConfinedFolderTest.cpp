// A folder "in" is opened to a peer; what lies beside it in "out" must stay as it is and unread.
#include "FileFixture.h"

#include <zul/ConfinedFolder.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <thread>

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using zu::ConfinedFolder;
using zu::u64;
using Error = ConfinedFolder::Error;
using Links = ConfinedFolder::Links;
using Lookup = ConfinedFolder::Lookup;
using Names = std::vector<std::string>;
namespace fs = std::filesystem;

namespace {

constexpr const char* kSecret = "SECRET";

class ConfinedFolderTest : public FileFixture, public testing::WithParamInterface<Lookup>
{
protected:
    ConfinedFolderTest()
    {
        make("out/canary", kSecret);
        make("out/empty/canary", kSecret);
        make("in/file", "public");
        make("in/dir/canary", "public");
        options.lookup = GetParam();
        reopen();
    }

    void reopen(Links links = Links::Refuse)
    {
        options.links = links;
        ConfinedFolder::Outcome outcome;
        confined = ConfinedFolder::open(at("in").c_str(), options, outcome);
        ASSERT_TRUE(confined) << outcome.getText();
        // Where the kernel or a sandbox has no such call both runs test the same.
        ASSERT_TRUE(GetParam() == Lookup::Whole || confined->getLookup() == Lookup::StepByStep);
    }

    void link(const std::string& target, const std::string& name)
    {
        fs::create_symlink(target, folder / name);
    }

    Error write(std::string_view path, u64 position, const std::string& bytes)
    {
        return confined->write(path, position, bytes.data(), bytes.size()).error;
    }
    Error replace(std::string_view path, const std::string& bytes)
    {
        return confined->replaceFile(path, bytes.data(), bytes.size()).error;
    }
    // Up to 64 bytes of a file, or nothing.
    std::string read(std::string_view path, u64 position = 0)
    {
        char buffer[64] = {};
        u64 count = 0;
        confined->read(path, position, buffer, sizeof buffer, count);
        return std::string(buffer, sizeof buffer).substr(0, count);
    }
    Error getInfoError(std::string_view path)
    {
        ConfinedFolder::Info info;
        return confined->getInfo(path, info).error;
    }
    Names list(std::string_view path, const char* wildcard = nullptr)
    {
        Names found;
        confined->list(path, wildcard, collectInto(found));
        return found;
    }
    Names walk(std::string_view path, const char* wildcard = nullptr)
    {
        Names found;
        confined->walk(path, wildcard, collectInto(found));
        return found;
    }
    static ConfinedFolder::Visitor collectInto(Names& found)
    {
        return [&found](const ConfinedFolder::Entry& entry) {
            found.push_back(entry.path);
            return true;
        };
    }

    ConfinedFolder::Options options;
    std::unique_ptr<ConfinedFolder> confined;
};

INSTANTIATE_TEST_SUITE_P(Lookups, ConfinedFolderTest,
                         testing::Values(Lookup::Whole, Lookup::StepByStep), [](auto& lookup) {
                             return lookup.param == Lookup::Whole ? "Whole" : "StepByStep";
                         });

// In one step where the system can, which finds more of what it is to find.
void exchange(const std::string& first, const std::string& second)
{
#ifdef RENAME_EXCHANGE
    if (::renameat2(AT_FDCWD, first.c_str(), AT_FDCWD, second.c_str(), RENAME_EXCHANGE) == 0)
        return;
#endif
    const std::string third = first + "-between";
    std::rename(first.c_str(), third.c_str());
    std::rename(second.c_str(), first.c_str());
    std::rename(third.c_str(), second.c_str());
}

TEST_P(ConfinedFolderTest, LinksSwappedMeanwhileLeadNowhere)
{
    for (Links links : {Links::Refuse, Links::FollowBeneath}) {
        reopen(links);
        link("../out", "in/way-out");
        link("../out/canary", "in/file-out");
        std::atomic<bool> stop{false};
        // Names that are now a folder or a file of ours, now a link to one outside.
        std::thread swapper([this, &stop] {
            const std::string way = at("in/dir"), wayOut = at("in/way-out");
            const std::string file = at("in/file"), fileOut = at("in/file-out");
            while (!stop) {
                exchange(way, wayOut);
                exchange(way, wayOut);
                exchange(file, fileOut);
                exchange(file, fileOut);
            }
        });
        const Tree before = treeOf("out");
        std::string told;
        size_t good = 0;
        for (int round = 0; round < 1000; ++round) {
            for (int again = 0; again < 10; ++again) {
                const std::string content = read("dir/canary") + read("file");
                good += !content.empty();
                told += content;
            }
            write("dir/canary", 0, "public");
            write("file", 0, "public");
            replace("dir/canary", "public");
            confined->copyFile("dir/canary", "dir/copy");
            confined->makeDirectory("dir/new");
            confined->removeFile("dir/empty/canary");
            for (const std::string& name : walk("dir"))
                told += name == "empty" ? kSecret : "";
        }
        stop = true;
        swapper.join();
        EXPECT_THAT(told, Not(HasSubstr(kSecret)));
        EXPECT_EQ(treeOf("out"), before);
        EXPECT_GT(good, 0u);
        for (const char* name : {"in/way-out", "in/file-out"})
            fs::remove(folder / name);
    }
}

TEST_P(ConfinedFolderTest, FollowsLinksBeneathOnDemand)
{
    link("dir/canary", "in/alias");
    link("../file", "in/dir/up");
    link("./dir/.//", "in/folder");
    link("..", "in/dir/cycle");
    EXPECT_EQ(getInfoError("alias"), Error::Outside);
    EXPECT_EQ(getInfoError("folder/canary"), Error::Outside);
    EXPECT_EQ(confined->removeFile("alias").error, Error::Outside);
    EXPECT_THAT(walk(""), ElementsAre("dir", "file", "dir/canary"));
    reopen(Links::FollowBeneath);
    EXPECT_EQ(read("alias") + read("folder/up") + read("dir/cycle/dir/cycle/file"),
              "publicpublicpublic");
    EXPECT_EQ(write("alias", 6, "!"), Error::None);
    EXPECT_EQ(contentOf("in/dir/canary"), "public!");
    // Into each folder once, however many ways lead there.
    EXPECT_THAT(walk(""),
                ElementsAre("alias", "dir", "file", "folder", "dir/canary", "dir/cycle", "dir/up"));
    EXPECT_EQ(confined->removeFile("alias").error, Error::None); // the link, not the file
    link(at("in/file"), "in/absolute");
    EXPECT_EQ(getInfoError("absolute"), Error::Outside);
    link("nowhere", "in/dangling");
    EXPECT_EQ(write("dangling", 0, "x"), Error::NotFound);
    EXPECT_TRUE(fs::exists(folder / "in/dir/canary") && !fs::exists(folder / "in/nowhere"));
}

TEST_P(ConfinedFolderTest, KnowsRegularFilesAndFoldersOnly)
{
    ASSERT_EQ(std::system(("mkfifo " + at("in/pipe")).c_str()), 0);
    char byte = 0;
    u64 count = 0;
    for (const char* other : {"pipe", "dir"}) {
        EXPECT_EQ(confined->read(other, 0, &byte, 1, count).error, Error::WrongKind);
        EXPECT_EQ(write(other, 0, "x"), Error::WrongKind); // without waiting for a reader
        EXPECT_EQ(confined->removeFile(other).error, Error::WrongKind);
    }
    EXPECT_EQ(replace("pipe", "x"), Error::WrongKind);
    EXPECT_EQ(getInfoError("pipe"), Error::WrongKind);
    EXPECT_EQ(confined->rename("file", "pipe").error, Error::WrongKind);
    EXPECT_THAT(list(""), ElementsAre("dir", "file"));
    EXPECT_EQ(confined->removeDirectory("file").error, Error::WrongKind);
    EXPECT_EQ(confined->removeDirectory("").error, Error::BadPath);
}

TEST_P(ConfinedFolderTest, ReadsAndWritesAtPositions)
{
    EXPECT_EQ(write("dir/new", 3, "abc"), Error::None);
    EXPECT_EQ(read("dir\\new"), std::string("\0\0\0abc", 6));
    EXPECT_EQ(read("dir/new", 5) + read("dir/new", 6) + read("dir/new", ~u64(0)), "c");
    EXPECT_EQ(write("dir/new", 1, "XY"), Error::None);
    EXPECT_EQ(read("dir/new"), std::string("\0XYabc", 6));
    EXPECT_EQ(write("dir/new", ~u64(0) - 1, "abc"), Error::TooLarge);
    EXPECT_EQ(write("dir/none/new", 0, "abc"), Error::NotFound);
    EXPECT_EQ(write("", 0, "abc"), Error::BadPath);
    fs::last_write_time(folder / "in/file", fs::file_time_type(std::chrono::file_clock::from_sys(
                                                std::chrono::sys_seconds{})));
    ConfinedFolder::Info info;
    ASSERT_TRUE(confined->getInfo("file", info).succeeded());
    EXPECT_EQ(info.lastWrite, 116444736000000000u); // 1970-01-01
    EXPECT_EQ(info.size, 6u);
    EXPECT_FALSE(info.isDirectory || info.isReadOnly);
    ASSERT_TRUE(confined->getInfo("", info).succeeded());
    EXPECT_TRUE(info.isDirectory);
}

TEST_P(ConfinedFolderTest, RenamesCopiesAndReplacesInOneStep)
{
    EXPECT_EQ(confined->copyFile("file", "dir/canary").error, Error::None);
    EXPECT_EQ(replace("file", "newer"), Error::None);
    EXPECT_EQ(contentOf("in/dir/canary") + contentOf("in/file"), "publicnewer");
    EXPECT_EQ(confined->rename("file", "dir/canary").error, Error::None);
    EXPECT_EQ(confined->rename("dir/canary", "dir/canary").error, Error::None);
    fs::create_hard_link(folder / "in/dir/canary", folder / "in/second");
    EXPECT_EQ(confined->rename("second", "dir/canary").error, Error::None); // and is gone
    EXPECT_EQ(confined->rename("none", "dir/canary").error, Error::NotFound);
    EXPECT_THAT(walk(""), ElementsAre("dir", "dir/canary"));
    EXPECT_EQ(confined->makeDirectory("d2").error, Error::None);
    EXPECT_EQ(confined->makeDirectory("d2").error, Error::Exists);
    EXPECT_EQ(confined->rename("d2", "dir").error, Error::Exists);
    EXPECT_EQ(confined->rename("dir", "d2/dir").error, Error::None);
    EXPECT_EQ(confined->removeDirectory("d2").error, Error::NotEmpty);
    EXPECT_EQ(contentOf("in/d2/dir/canary"), "newer");
    makeReadOnly("in/locked", "precious");
    make("in/file", "newer");
    ConfinedFolder::Info info;
    EXPECT_TRUE(confined->getInfo("locked", info).succeeded() && info.isReadOnly);
    for (const Error error :
         {write("locked", 0, "x"), replace("locked", "x"),
          confined->copyFile("file", "locked").error, confined->rename("file", "locked").error,
          confined->removeFile("locked").error})
        EXPECT_EQ(error, Error::ReadOnly);
    EXPECT_EQ(contentOf("in/locked"), "precious");
    EXPECT_THAT(list(""), ElementsAre("d2", "file", "locked")); // nothing temporary
}

TEST_P(ConfinedFolderTest, CopiesAndMovesIntoOtherFolders)
{
    std::vector<fs::path> others = {folder / "second"};
    if (fs::is_directory("/dev/shm")) // another disk
        others.push_back("/dev/shm/" + folder.filename().string());
    const auto time = fs::last_write_time(folder / "in/file") - std::chrono::hours(5);
    const auto never = [] { return false; };
    Names found;
    for (const fs::path& other : others) {
        fs::create_directory(other);
        ConfinedFolder::Outcome outcome;
        const auto target = ConfinedFolder::open(other.c_str(), options, outcome);
        ASSERT_TRUE(target);
        make("in/file", "moved");
        fs::last_write_time(folder / "in/file", time);
        EXPECT_EQ(confined->copyInto(*target, "file", "copy").error, Error::None);
        EXPECT_EQ(confined->copyInto(*target, "file", "../copy").error, Error::BadPath);
        EXPECT_EQ(confined->moveInto(*target, "file", "none/file").error, Error::NotFound);
        EXPECT_EQ(confined->moveInto(*target, "file", "copy").error, Error::None);
        EXPECT_FALSE(fs::exists(folder / "in/file"));
        EXPECT_EQ(fs::last_write_time(other / "copy"), time);
        make("in/file", "again");
        fs::permissions(other / "copy", fs::perms::owner_read);
        EXPECT_EQ(confined->moveInto(*target, "file", "copy").error, Error::ReadOnly);
        EXPECT_EQ(confined->copyInto(*target, "file", "new", never).error, Error::Stopped);
        EXPECT_EQ(contentOf("in/file"), "again");
        EXPECT_EQ(target->walk("", nullptr, collectInto(found), never).error, Error::Stopped);
        const bool isOneDisk = confined->moveInto(*target, "dir", "dir").succeeded();
        EXPECT_EQ(isOneDisk, other.parent_path() == folder);
        EXPECT_EQ(fs::exists(folder / "in/dir/canary"), !isOneDisk);
        found.clear();
        target->walk("", nullptr, collectInto(found));
        EXPECT_EQ(found, isOneDisk ? Names({"copy", "dir", "dir/canary"}) : Names({"copy"}));
        fs::remove_all(other);
        make("in/dir/canary", "public");
    }
}

TEST_P(ConfinedFolderTest, FullDiskLeavesEverythingAsItWas)
{
    // A megabyte of disk; needs a system that lets us mount one.
    if (std::system(("mount -t tmpfs -o size=1m none " + at("in") + " 2>/dev/null").c_str()) != 0)
        GTEST_SKIP() << "cannot mount";
    reopen();
    const std::string old(700 * 1024, 'o');
    const std::string large(600 * 1024, 'n');
    EXPECT_EQ(write("file", 0, old), Error::None);
    EXPECT_EQ(write("file", old.size() - 1, large), Error::DiskFull);
    EXPECT_EQ(write("file", old.size(), large), Error::DiskFull);
    EXPECT_EQ(write("new", 0, large), Error::DiskFull);
    EXPECT_EQ(write("small", 0, "small"), Error::None);
    EXPECT_EQ(replace("small", large), Error::DiskFull);
    EXPECT_EQ(confined->copyFile("file", "small").error, Error::DiskFull);
    // A hole inside an old file takes room only when it is filled.
    EXPECT_EQ(write("holes", 3 * 1024 * 1024, "end"), Error::None);
    EXPECT_EQ(write("holes", 4096, large), Error::DiskFull);
    EXPECT_EQ(read("holes", 4096), std::string(64, '\0'));
    EXPECT_THAT(list(""), ElementsAre("file", "holes", "small"));
    EXPECT_TRUE(contentOf("in/file") == old && contentOf("in/small") == "small");
    EXPECT_EQ(std::system(("mount -o remount,ro " + at("in")).c_str()), 0);
    EXPECT_EQ(write("small", 0, "x"), Error::ReadOnly);
    EXPECT_EQ(confined->removeFile("file").error, Error::ReadOnly);
    confined.reset();
    EXPECT_EQ(std::system(("umount " + at("in")).c_str()), 0);
}

TEST_P(ConfinedFolderTest, TellsThatTheFolderIsGone)
{
    fs::remove_all(folder / "in");
    make("in/file", "another one");
    EXPECT_EQ(getInfoError("file"), Error::Gone);
    EXPECT_EQ(write("new", 0, "x"), Error::Gone);
    EXPECT_EQ(confined->makeDirectory("new").error, Error::Gone);
}

TEST_P(ConfinedFolderTest, VisitsWhatCanBeAskedForInOrder)
{
    make("in/B.txt", "12345");
    make("in/a.txt");
    make("in/back\\slash");
    make("in/dir/sub/z.TXT");
    make("in/nul");
    fs::create_directory(folder / "in/old.txt");
    EXPECT_THAT(list("", "*.txt"), ElementsAre("a.txt", "B.txt", "old.txt"));
    EXPECT_THAT(walk("", "*.txt"), ElementsAre("a.txt", "B.txt", "old.txt", "dir/sub/z.TXT"));
    EXPECT_THAT(walk("dir"), ElementsAre("canary", "sub", "sub/z.TXT"));
    options.names = ConfinedFolder::Names::Portable;
    reopen();
    EXPECT_THAT(list(""), ElementsAre("a.txt", "B.txt", "dir", "file", "old.txt"));
    EXPECT_EQ(getInfoError("nul"), Error::BadPath);
    Names some;
    confined->walk("", nullptr, [&](const ConfinedFolder::Entry& entry) {
        some.push_back(entry.path + (entry.isDirectory ? "/" : std::to_string(entry.size)));
        return !entry.isDirectory;
    });
    EXPECT_THAT(some, ElementsAre("a.txt0", "B.txt5", "dir/"));
}

TEST_P(ConfinedFolderTest, FindsNamesInOtherCase)
{
    make("in/Src/Main.cpp", "1");
    make("in/Src/main.CPP", "2");
    std::string other;
    EXPECT_TRUE(confined->findOtherCase("src\\MAIN.cpp", other));
    EXPECT_EQ(other, "Src/Main.cpp");
    EXPECT_FALSE(confined->findOtherCase("Src/main.CPP", other)); // exists
    EXPECT_FALSE(confined->findOtherCase("src/none", other));
    EXPECT_FALSE(confined->findOtherCase("../OUT/Canary", other));
    EXPECT_EQ(getInfoError("src/main.cpp"), Error::NotFound);
    options.letterCase = ConfinedFolder::LetterCase::Ignore;
    reopen();
    EXPECT_EQ(read("SRC/main.cpp") + read("src/main.CPP"), "12");
    EXPECT_EQ(write("src/MAIN.CPP", 1, "!"), Error::None);
    EXPECT_EQ(write("src/New", 0, "3"), Error::None);
    EXPECT_EQ(confined->rename("SRC/NEW", "src/nEW").error, Error::None);
    EXPECT_EQ(contentOf("in/Src/Main.cpp") + contentOf("in/Src/nEW"), "1!3");
    EXPECT_THAT(list("SRC"), ElementsAre("Main.cpp", "main.CPP", "nEW"));
}

} // namespace
