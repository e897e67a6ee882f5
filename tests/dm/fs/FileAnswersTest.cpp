/// Command texts, and answers read from bytes that may hold anything.
#include "dm/fs/FileCommands.h"
#include "dm/fs/ListAnswers.h"
#include "support/ScriptedFileServer.h"

#include <gmock/gmock.h>

using namespace dm;
using support::listOf;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

std::vector<std::string> paths(std::string_view list)
{
    std::vector<std::string> found;
    for (const zu::String& path : readPathEntries(list))
        found.emplace_back(path.c_str());
    return found;
}

FileEntry oneFile(const std::string& entry) { return readFileEntries(listOf({"1", entry})).at(0); }

} // namespace

TEST(FileCommands, NumbersGoAsTheirLow32BitsAndPathsUncut)
{
    const std::string longPath(300, 'p');
    EXPECT_STREQ(makeRead(0x80000000, 0x100000005, "%s\"a").c_str(),
                 "read -2147483648 5 \"%s\"a\"");
    EXPECT_EQ(makeMoveFile(longPath.c_str(), longPath.c_str()).length(), 9 + 2 * 302 + 1u);
}

TEST(FileCommands, AnswersAreReadWithinTheirRange)
{
    EXPECT_TRUE(readYes("TRUE"));
    EXPECT_FALSE(readYes("true "));
    EXPECT_EQ(readSize("8589934592"), 8589934592u);
    EXPECT_EQ(readSize("-1"), 0u);
    EXPECT_EQ(readSize("none"), 0u);
    EXPECT_EQ(readWritten("7", 10), 7u);
    EXPECT_EQ(readWritten("-1", 10), 0u);
    EXPECT_EQ(readWritten("11", 10), 10u);
    EXPECT_EQ(readTime("-1 1").toTicks(), 0x1ffffffffu);
    EXPECT_EQ(readTime("5").toTicks(), 5u);
}

TEST(FileLists, EntriesCountWithWhatCanBeReadOfThem)
{
    const FileEntry whole = oneFile("1 18446744073709551615 132514885750000001 \"a b,c\"");
    EXPECT_TRUE(whole.isDirectory);
    EXPECT_EQ(whole.size, 18446744073709551615u);
    EXPECT_EQ(whole.time, 132514885750000001u);
    EXPECT_STREQ(whole.name.c_str(), "a b,c");
    EXPECT_TRUE(oneFile("01 0 0 \"d\"").isDirectory);
    EXPECT_TRUE(oneFile("0x1 0 0 \"d\"").isDirectory);
    EXPECT_FALSE(oneFile("2 0 0 \"f\"").isDirectory);
    EXPECT_STREQ(oneFile("0 1 2 \"\"").name.c_str(), "");
    EXPECT_EQ(oneFile("0 1").size, 1u);
    EXPECT_STREQ(oneFile("").name.c_str(), "");
    EXPECT_EQ(oneFile("0 1 2 \"" + std::string(100000, 'x')).name.length(), 511u);
}

TEST(FileLists, BytesBoundTheWalkAndTheCountDoesNot)
{
    using namespace std::string_literals;
    EXPECT_THAT(readFileEntries(""), IsEmpty());
    EXPECT_THAT(readFileEntries(listOf({"0"})), IsEmpty());
    EXPECT_THAT(readFileEntries("99"), IsEmpty()) << "not even the count has its end";
    EXPECT_THAT(paths(listOf({"0", "0 \"a\"", "0 \"b\""})), ElementsAre("a", "b"));
    EXPECT_THAT(paths("-5\0000 \"a\"\0\0000 \"tail"s), ElementsAre("a", "", "tail"));
    EXPECT_LE(readFileEntries(listOf({"2000000000", "0 0 0 \"a\""})).capacity(), 16u);
}

TEST(FileLists, FoldersEndAtTheFirstComma)
{
    EXPECT_THAT(readMappedFolders(listOf({"3,x", "data,/home/me,2", "saves", ",host"})),
                ElementsAre(zu::String("data"), zu::String("saves"), zu::String()));
}
