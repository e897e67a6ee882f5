#include "RunnerFixture.h"
#include "tools/fileserver/ListAnswer.h"

#include <dm/fs.h>

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using namespace fileserver;
namespace fs = std::filesystem;

namespace {

class CommandRunnerTest : public RunnerFixture
{
protected:
    CommandRunnerTest() { serve(); }
};

TEST_F(CommandRunnerTest, AnswersAboutFilesAndFolders)
{
    make("data/dir/file", "12345");
    makeReadOnly("data/locked", "x");
    make("stock/file", "x");
    fs::last_write_time(
        folder / "data/dir/file",
        fs::file_time_type(std::chrono::file_clock::from_sys(std::chrono::sys_seconds{})));
    EXPECT_EQ(askEach({"createDirectory \"data\"", "createDirectory \"data/.//\"",
                       "deleteDirectory \"data\"", "directoryExists \"data/dir/\"",
                       "directoryExists \"data\"", "directoryExists \"data/dir/file\""}),
              "true true false true true false");
    EXPECT_EQ(askEach({"fileExists \"data\\dir/FILE\"", "fileExists \"DATA\\dir/file\"",
                       "fileExists \"data/dir/file/\"", "fileExists \"data/dir\""}),
              "false true false false");
    EXPECT_EQ(report.reason, "it is a folder");
    EXPECT_EQ(askEach({"isFileReadOnly \"data/locked\"", "isFileReadOnly \"stock/file\"",
                       "isFileReadOnly \"data/dir/file\"", "isFileReadOnly \"data/dir\""}),
              "true true false false");
    EXPECT_EQ(askEach({"getFileTime \"data/dir/file\"", "getFileSize \"data/dir/file\"",
                       "getFileSize \"data/dir\"", "getFileTime \"data/none\""}),
              "-717324288 27111902 5 0 0 0"); // 1970
    EXPECT_FALSE(report.succeeded);
    EXPECT_EQ(report.reason, "there is no such file or folder");
    EXPECT_EQ(report.warning, "");
    EXPECT_EQ(askEach({"fileexists \"data/dir/file\"", "getFileSize data/dir/file"}), "false 0");
}

TEST_F(CommandRunnerTest, ReadsRangesSmallFromMemoryAndLargeFromTheFile)
{
    std::string content(300000, '\0');
    for (size_t at = 0; at < content.size(); ++at)
        content[at] = static_cast<char>(at * 7 / 3);
    make("data/file", content);
    EXPECT_EQ(fetch("read 100 50 \"data/file\""), content.substr(100, 50));
    EXPECT_EQ(report.bytes, 50u);
    EXPECT_EQ(fetch("read 299990 2147483647 \"data/file\""), content.substr(299990));
    EXPECT_TRUE(run("read 299990 2147483647 \"data/file\"").content == nullptr);
    EXPECT_EQ(fetch("read 300000 9 \"data/file\"") + fetch("read 2147483647 9 \"data/file\""), "");
    EXPECT_TRUE(report.succeeded);
    const Answer large = run("read 1000 2147483647 \"data/file\"");
    ASSERT_TRUE(large.content);
    EXPECT_EQ(large.text, "true");
    // The game gets the file that was there, whole, whatever becomes of the name.
    make("data/other", "other");
    EXPECT_EQ(ask("moveFile \"data/other\" \"data/file\""), "true");
    EXPECT_EQ(dataOf(large), content.substr(1000));
    // Content that is no longer there fails instead of lying.
    make("data/file", content);
    const Answer cut = run("read 0 200000 \"data/file\"");
    fs::resize_file(folder / "data/file", 150000);
    char bytes[100];
    EXPECT_TRUE(cut.content->read(149900, bytes, 100));
    EXPECT_FALSE(cut.content->read(149901, bytes, 100));
    for (const char* line : {"read 0 9 \"data\"", "read 0 9 \"data/none\"",
                             "read -1 9 \"data/file\"", "read 0 -9 \"data/file\""})
    {
        const Answer answer = run(line);
        EXPECT_TRUE(answer.text == "false" && answer.data.empty() && !answer.content) << line;
    }
}

TEST_F(CommandRunnerTest, WritesExactlyOrNotAtAll)
{
    EXPECT_EQ(ask("write 0 5 \"data/file\"", "12345"), "5");
    EXPECT_EQ(ask("write 3 4 \"data/file\"", "abcd"), "4");
    EXPECT_EQ(ask("write 9 1 \"data/file\"", "z"), "1");
    EXPECT_EQ(askEach({"write 0 0 \"data/file\"", "write 7 0 \"data/empty\""}), "0 0");
    EXPECT_TRUE(report.succeeded);
    EXPECT_EQ(contentOf("data/file"), std::string("123abcd\0\0z", 10));
    EXPECT_TRUE(fs::exists(folder / "data/empty") && fs::is_empty(folder / "data/empty"));
    for (const char* line :
         {"write 0 4 \"data/file\"", "write 0 6 \"data/file\"", "write -1 5 \"data/file\"",
          "write 0 5 \"data/none/file\"", "write 0 5 \"data\"", "write 0 5 \"data/new/\"",
          "write 0 5 \"stock/file\""})
    {
        EXPECT_EQ(ask(line, "12345"), "0") << line;
        EXPECT_FALSE(report.succeeded) << line;
    }
    EXPECT_EQ(contentOf("data/file"), std::string("123abcd\0\0z", 10));
    EXPECT_THAT(report.warning, HasSubstr("the map \"stock\" is read-only"));
}

TEST_F(CommandRunnerTest, CopiesAndMovesBetweenMapsAsTheirRightsAllow)
{
    fs::create_directory(folder / "more");
    add("more=" + at("more") + ":rw");
    make("stock/file", "stock");
    EXPECT_EQ(ask("copyFile \"stock/file\" \"data/file\""), "true");
    EXPECT_EQ(ask("moveFile \"stock/file\" \"data/other\""), "false");
    EXPECT_EQ(ask("copyFile \"data/file\" \"stock/other\""), "false");
    EXPECT_EQ(ask("moveFile \"data/file\" \"more/file\""), "true");
    EXPECT_EQ(contentOf("stock/file") + contentOf("more/file"), "stockstock");
    EXPECT_THAT(names("data/*"), IsEmpty());
}

TEST_F(CommandRunnerTest, ListsWhatASearchInTheFolderFinds)
{
    make("data/b.txt", "12");
    make("data/A.TXT");
    make("data/sub/c.txt");
    make("data/quo\"te.txt");
    EXPECT_THAT(names("data/*.txt"), ElementsAre("A.TXT", "b.txt"));
    EXPECT_THAT(report.warning, HasSubstr("leaves out 1 names"));
    EXPECT_THAT(names("data\\*.*"), ElementsAre("A.TXT", "b.txt", "sub/"));
    EXPECT_THAT(names("DATA"), ElementsAre("data/")); // the map itself
    EXPECT_THAT(names("data/sub/none*"), IsEmpty());
    EXPECT_TRUE(report.succeeded);
    for (const char* pattern : {"data/", "data/none/*", "data/b.txt/*", "dat*", "*", "", "local/*"})
    {
        EXPECT_THAT(names(pattern), IsEmpty()) << pattern;
        EXPECT_EQ(report.warning, "") << pattern;
    }
    EXPECT_EQ(list("findFiles \"data/b.txt\"")[0].substr(0, 4), "0 2 ");
    EXPECT_EQ(list("findFiles \"data/sub\"")[0].substr(0, 4), "1 0 ");
    EXPECT_THAT(list(R"(findFilesRecursive "DATA\" "*.txt" 1)"),
                ElementsAre(R"(0 "DATA\A.TXT")", R"(0 "DATA\b.txt")", R"(0 "DATA\sub/c.txt")"));
    EXPECT_EQ(list(R"(findFilesRecursive "data" "*.txt" 0)").size(), 2u);
}

TEST_F(CommandRunnerTest, CutsAListThatIsTooLongAtAWholeEntry)
{
    ListAnswer answer;
    const std::string name(250, 'n');
    while (answer.addFile(false, ~0ull, ~0ull, name))
        ;
    EXPECT_TRUE(answer.isCut() && !answer.addFile(false, 0, 0, "short"));
    const zu::u32 count = answer.getCount();
    const std::vector<char> list = answer.take();
    const size_t limit = dm::NetworkFileSystem::kMaxListBytes;
    EXPECT_TRUE(list.size() <= limit && list.size() > limit - 310);
    EXPECT_EQ(list.data(), std::to_string(count));
    EXPECT_EQ(std::count(list.begin(), list.end(), '\0'), count + 1);
    EXPECT_EQ(list.back(), '\0');
    EXPECT_TRUE(answer.addPath(std::string(511, 'p')) && answer.addPath(std::string(512, 'p')));
    EXPECT_TRUE(answer.getCount() == 1 && answer.getUnreadable() == 1);
}

TEST_F(CommandRunnerTest, TellsFoldersWithOrWithoutTheirPathsHere)
{
    EXPECT_THAT(list("getMappedFolders"),
                ElementsAre("data," + at("data"), "stock," + at("stock")));
    fs::create_directory(folder / "a,b");
    add("more=" + at("a,b"));
    CommandRunner discreet(*maps, {.hidesHostPaths = true});
    const Answer answer = discreet.run("getMappedFolders", nullptr, 0, {}, report);
    EXPECT_EQ(dataOf(answer), std::string("3\0data\0stock\0more\0", 18));
    EXPECT_EQ(list("getMappedFolders")[2], "more," + at("a,b"));
}

TEST_F(CommandRunnerTest, TellsOfNamesInOtherLetterCaseOnceInAWhile)
{
    make("data/Dir/File.txt", "x");
    EXPECT_EQ(ask("fileExists \"data/dir/file.txt\""), "false");
    EXPECT_EQ(report.warning, "\"data/dir/file.txt\" is not there, but \"data/Dir/File.txt\" is");
    EXPECT_EQ(ask("fileExists \"data/dir/file.txt\""), "false");
    EXPECT_EQ(report.warning, "");
    EXPECT_EQ(ask("write 0 1 \"data/dir/new\"", "x"), "0");
    EXPECT_EQ(report.warning, "\"data/dir/new\" is not there, but \"data/Dir\" is");
    serve({.letterCase = zu::ConfinedFolder::LetterCase::Ignore});
    EXPECT_EQ(ask("fileExists \"data/dir/file.txt\""), "true");
    EXPECT_EQ(ask("write 0 1 \"data/dir/FILE.TXT\"", "y"), "1");
    EXPECT_EQ(contentOf("data/Dir/File.txt"), "y");
}

TEST_F(CommandRunnerTest, FindsAFolderThatWasReplacedAndTellsOnceOfOneThatIsGone)
{
    make("data/file", "old");
    fs::remove_all(folder / "data");
    EXPECT_EQ(ask("getFileSize \"data/file\""), "0");
    EXPECT_EQ(report.warning, "the folder of the map \"data\" is gone");
    EXPECT_EQ(ask("write 0 1 \"data/file\"", "x"), "0");
    EXPECT_THAT(names("data"), IsEmpty());
    EXPECT_EQ(report.warning, "");
    EXPECT_EQ(report.reason, "the opened folder is gone");
    make("data/file", "newer");
    EXPECT_EQ(ask("copyFile \"data/file\" \"data/copy\""), "true");
    EXPECT_THAT(names("data/*"), ElementsAre("copy", "file"));
}

TEST_F(CommandRunnerTest, DoesNothingForWhomNobodyWaits)
{
    const auto notWanted = [] { return false; };
    EXPECT_EQ(run("write 0 1 \"data/file\"", "x", notWanted).text, "");
    EXPECT_TRUE(report.isDropped && !report.succeeded);
    EXPECT_FALSE(fs::exists(folder / "data/file"));
    // Given up on the way.
    make("data/large", std::string(2000000, 'x'));
    int asked = 0;
    EXPECT_EQ(run("copyFile \"data/large\" \"data/copy\"", "", [&] { return ++asked < 2; }).text,
              "");
    EXPECT_TRUE(report.isDropped);
    EXPECT_THAT(names("data/*"), ElementsAre("large"));
}

} // namespace
