#include "dm/fs/NetworkFixture.h"

#include <functional>

using namespace support;
using testing::ElementsAre;
using testing::IsEmpty;
using zu::File;

using NetworkFileSystem = NetworkFixture;

TEST_F(NetworkFileSystem, SendsEachCommandAsTheServerExpectsIt)
{
    settle();
    const char* path = "DATA\\a.txt"; // what folders are compared by is not what is sent
    using Commands = std::vector<std::string>;
    const std::vector<std::pair<std::function<void()>, Commands>> cases = {
        {[&] { remote->fileExists(path); }, {R"(fileExists "DATA\a.txt")"}},
        {[&] { remote->directoryExists(path); }, {R"(directoryExists "DATA\a.txt")"}},
        {[&] { remote->isFileReadOnly(path); }, {R"(isFileReadOnly "DATA\a.txt")"}},
        {[&] { remote->deleteFile(path); }, {R"(deleteFile "DATA\a.txt")"}},
        {[&] { remote->createDirectory(path); }, {R"(createDirectory "DATA\a.txt")"}},
        {[&] { remote->deleteDirectory(path); }, {R"(deleteDirectory "DATA\a.txt")"}},
        {[&] { remote->moveFile(path, "data/b", true); }, {R"(moveFile "DATA\a.txt" "data/b")"}},
        {[&] { remote->copyFile("data/b", path); }, {R"(copyFile "data/b" "DATA\a.txt")"}},
        {[&] { namesFound("data/*.map"); }, {R"(findFiles "data/*.map")"}},
        {[&] { remote->openFile(path, File::Read); }, {R"(fileExists "DATA\a.txt")"}},
        {[&] { remote->closeFile(remote->openFile(path, File::ReadWrite)); },
         {R"(getFileSize "DATA\a.txt")"}},
        {[&] { remote->closeFile(remote->openFile(path, File::Write)); },
         {R"(deleteFile "DATA\a.txt")", R"(getFileSize "DATA\a.txt")"}},
        {[&] { remote->closeFile(remote->openFile(path, File::Append)); },
         {R"(getFileSize "DATA\a.txt")"}},
        {[&] {
             zu::FileSystem::PathList list;
             remote->listFiles(list, "data", nullptr, true);
             remote->listFiles(list, "data", "*.map", false);
         },
         {R"(findFilesRecursive "data" "*" 1)", R"(findFilesRecursive "data" "*.map" 0)"}},
    };
    for (const auto& [operation, expected] : cases) {
        operation();
        EXPECT_EQ(asked(), expected);
    }
}

TEST_F(NetworkFileSystem, ReadsAndWritesAtItsPosition)
{
    answer(R"(getFileSize "data/a")", "100");
    answer(R"(read 0 4 "data/a")", "true", "abcd");
    answer(R"(read 4 4 "data/a")", "", "ef");
    answer(R"(write 6 3 "data/a")", "3");
    answer(R"(getFileTime "data/a")", "-2 1");
    zu::FileHandle* handle = openRemote("data/a");
    char buffer[5] = "";
    EXPECT_EQ(remote->readFile(handle, buffer, 4), 4u);
    EXPECT_STREQ(buffer, "abcd");
    EXPECT_EQ(remote->readFile(handle, buffer, 4), 2u);
    EXPECT_STREQ(buffer, "efcd");
    answer(R"(getFileSize "data/a")", "109");
    char bytes[] = "xyz";
    EXPECT_EQ(remote->writeFile(handle, bytes, 3), 3u);
    EXPECT_EQ(server.writtenData(), "xyz");
    EXPECT_EQ(remote->getCurrentPosition(handle), 9u);
    EXPECT_EQ(remote->getFileSize(handle), 109u);
    EXPECT_TRUE(remote->flushFileBuffers(handle));
    remote->setFileTime(handle, {1, 1}, {1, 1});
    EXPECT_EQ(remote->getFileTime(handle), (File::Time{0xfffffffeu, 1}));
    EXPECT_TRUE(remote->closeFile(handle));
    EXPECT_THAT(asked(),
                ElementsAre(R"(read 0 4 "data/a")", R"(read 4 4 "data/a")", R"(write 6 3 "data/a")",
                            R"(getFileSize "data/a")", R"(getFileTime "data/a")"));
}

TEST_F(NetworkFileSystem, ALyingServerMovesNoByteTooMany)
{
    answer(R"(read 0 4 "data/a")", "true", std::string(100000, 'x'));
    answer(R"(write 4 3 "data/a")", "4000000000");
    answer(R"(write 7 3 "data/a")", "-1");
    zu::FileHandle* handle = openRemote("data/a");
    const std::unique_ptr<char[]> exact(new char[4]); // a sanitizer watches its end
    EXPECT_EQ(remote->readFile(handle, exact.get(), 4), 4u);
    EXPECT_EQ(remote->writeFile(handle, exact.get(), 3), 3u);
    EXPECT_EQ(remote->writeFile(handle, exact.get(), 3), 0u);
    EXPECT_EQ(remote->getCurrentPosition(handle), 7u);
    answer(R"(getFileSize "data/a")", "-100");
    remote->closeFile(handle);
    handle = openRemote("data/a");
    EXPECT_EQ(remote->getFileSize(handle), 0u);
    remote->closeFile(handle);
}

TEST_F(NetworkFileSystem, SeeksWithoutAskingAndWithoutClamping)
{
    answer(R"(getFileSize "data/a")", "100");
    zu::FileHandle* handle = openRemote("data/a");
    EXPECT_EQ(remote->seekFile(handle, 10, File::SeekFromEnd), 90u);
    EXPECT_EQ(remote->seekFile(handle, -5, File::SeekFromCurrent), 85u);
    EXPECT_EQ(remote->seekFile(handle, 7, File::SeekFromStart), 7u);
    EXPECT_EQ(remote->seekFile(handle, 1, static_cast<File::SeekMode>(3)), 7u);
    EXPECT_EQ(remote->seekFile(handle, -5, File::SeekFromEnd), 105u);
    EXPECT_EQ(remote->seekFile(handle, 200, File::SeekFromEnd), 0ull - 100);
    remote->closeFile(handle);
    EXPECT_THAT(asked(), IsEmpty());
}

TEST_F(NetworkFileSystem, GivesSizeAndTimeOfFilesOnBothSides)
{
    zu::u64 size = 1;
    zu::u64 time = 2;
    EXPECT_FALSE(remote->getFileAttributes("data/a", size, time));
    EXPECT_TRUE(size == 1 && time == 2);
    answer(R"(fileExists "data/a")", "true");
    answer(R"(getFileSize "data/a")", "5000000000");
    answer(R"(getFileTime "data/a")", "7 1");
    EXPECT_TRUE(remote->getFileAttributes("data/a", size, time));
    EXPECT_EQ(size, 5000000000u);
    EXPECT_EQ(time, 0x100000007u);
    EXPECT_TRUE(remote->getFileAttributes(make("local", "four").c_str(), size, time));
    EXPECT_EQ(size, 4u);
}

TEST_F(NetworkFileSystem, ReadsInTheBackground)
{
    answer(R"(read 0 4 "data/a")", "", "abcd");
    zu::FileHandle* handle = openRemote("data/a");
    char buffer[4];
    std::promise<zu::u64> done;
    remote->readFileAsync(handle, buffer, 4,
                          [&](zu::FileHandle*, zu::u64 count) { done.set_value(count); });
    EXPECT_EQ(done.get_future().get(), 4u);
    remote->closeFile(handle);
    EXPECT_EQ(std::string(buffer, 4), "abcd");
}

// Which side a path is on.

TEST_F(NetworkFileSystem, AFoldersNameIsAPrefixAndNoMore)
{
    server.answerList(kFolders, {"data,/home/me", "save"});
    for (const char* path : {"data", "DaTa/x", "database/x", "saved"})
        remote->fileExists(path);
    for (const std::string& path : {std::string("dat"), std::string("./data/x"), at("data")})
        remote->fileExists(path.c_str());
    EXPECT_THAT(asked(), ElementsAre(kFolders, R"(fileExists "data")", R"(fileExists "DaTa/x")",
                                     R"(fileExists "database/x")", R"(fileExists "saved")"));
}

TEST_F(NetworkFileSystem, AsksForFoldersOncePerConnection)
{
    server.answerList(kFolders, {});
    const std::string path = make("a.txt");
    EXPECT_TRUE(remote->fileExists(path.c_str()));
    EXPECT_TRUE(remote->isFileReadOnly(makeReadOnly("b.txt", "").c_str()));
    EXPECT_THAT(asked(), ElementsAre(kFolders));

    // Another list after the connection was lost, even in the middle of a command.
    server.answerList(kFolders, {at("a"), "data"});
    server.dropAt("findFiles \"data/*\"");
    remote->findFirstFile("data/*");
    EXPECT_FALSE(remote->fileExists(path.c_str())) << "the server's now";
    EXPECT_THAT(asked(), ElementsAre("findFiles \"data/*\"", "findFiles \"data/*\"", kFolders,
                                     "fileExists \"" + path + "\""));
}

TEST_F(NetworkFileSystem, ThoseAskedForBeforeTheConnectionAreItsOwn)
{
    dm::deinitCommunicationManagers();
    connect("game", server);
    const dm::NetworkFileSystem early(files);
    dm::NetworkFileSystem::getInstance().fileExists("data/a");
    EXPECT_TRUE(early.isPipeAcquired());
    dm::NetworkFileSystem::getInstance().fileExists("data/a");
    EXPECT_EQ(server.countOf(kFolders), 1u);
}

TEST_F(NetworkFileSystem, ManyThreadsAskForFoldersOnce)
{
    std::vector<std::future<bool>> askers;
    for (int i = 0; i < 8; ++i)
        askers.push_back(
            std::async(std::launch::async, [&] { return remote->fileExists("data/a"); }));
    for (std::future<bool>& asker : askers)
        asker.wait();
    EXPECT_EQ(server.countOf(kFolders), 1u);
    EXPECT_EQ(server.countOf(R"(fileExists "data/a")"), 8u);
}

TEST_F(NetworkFileSystem, MovesBetweenTheSidesAreTheLocalSystemsAffair)
{
    settle();
    const std::string from = make("from", "new");
    const std::string to = make("to", "old");
    EXPECT_FALSE(remote->moveFile("data/a", to.c_str(), true));
    EXPECT_FALSE(remote->moveFile(from.c_str(), to.c_str(), false)) << "replace is passed on";
    EXPECT_TRUE(remote->moveFile(from.c_str(), to.c_str(), true));
    EXPECT_THAT(asked(), IsEmpty());
}

TEST_F(NetworkFileSystem, CopiesBetweenTheSidesThroughMemory)
{
    const std::string bytes = someBytes(100000);
    answer(R"(fileExists "data/a")", "true");
    answer(R"(getFileSize "data/a")", "100000");
    answer(R"(read 0 100000 "data/a")", "true", bytes);
    EXPECT_TRUE(remote->copyFile("data/a", at("copy").c_str())) << "though it is not installed";
    EXPECT_EQ(contentOf("copy"), bytes);

    answer(R"(write 0 100000 "data/b")", "100000");
    asked();
    EXPECT_TRUE(remote->copyFile(at("copy").c_str(), "data/b"));
    EXPECT_EQ(server.writtenData(), bytes);
    EXPECT_THAT(asked(), ElementsAre(R"(deleteFile "data/b")", R"(getFileSize "data/b")",
                                     R"(write 0 100000 "data/b")", R"(getFileSize "data/b")"));

    EXPECT_TRUE(remote->copyFile(make("empty").c_str(), "data/c"));
    EXPECT_EQ(server.countOf(R"(write 0 0 "data/c")"), 1u);
}

TEST_F(NetworkFileSystem, ACopyThatFailsLeavesNoHalfFile)
{
    EXPECT_FALSE(remote->copyFile("data/missing", at("copy").c_str()));
    EXPECT_FALSE(remote->copyFile(at("missing").c_str(), "data/b"));
    answer(R"(fileExists "data/short")", "true");
    answer(R"(getFileSize "data/short")", "100000");
    EXPECT_FALSE(remote->copyFile("data/short", at("copy").c_str()));
    EXPECT_FALSE(remote->copyFile(make("a", "abc").c_str(), at("no/such/folder").c_str()));
    EXPECT_THAT(names(), ElementsAre("a"));
    asked();
    answer(R"(write 0 3 "data/full")", "2");
    EXPECT_FALSE(remote->copyFile(at("a").c_str(), "data/full"));
    EXPECT_EQ(asked().back(), R"(deleteFile "data/full")");
}

// Searches.

TEST_F(NetworkFileSystem, ASearchShowsBothSidesInOrderAndEachNameOnce)
{
    for (const char* name : {"b.txt", "_c", "database", "D"})
        make(name, "local");
    const std::string pattern = at("*");
    server.answerList("findFiles \"" + pattern + "\"",
                      {"0 7 9 \"B.TXT\"", "1 0 0 \"a\"", "0 1 0 \"c\"", "0 2 0 \"C\""});
    EXPECT_THAT(namesFound(pattern), ElementsAre("_c", "a", "B.TXT", "c", "D"));
    EXPECT_THAT(asked(), ElementsAre("findFiles \"" + pattern + "\"", kFolders));

    zu::FindFileHandle* handle = remote->findFirstFile(pattern.c_str());
    EXPECT_EQ(remote->findGetFileSize(handle), 5u) << "the local one's";
    handle = remote->findNextFile(handle);
    EXPECT_TRUE(remote->findIsDirectory(handle));
    handle = remote->findNextFile(handle);
    EXPECT_EQ(remote->findGetFileSize(handle), 7u) << "the server's";
    EXPECT_EQ(remote->findGetFileTime(handle), 9u);
    remote->findClose(handle);
}

TEST_F(NetworkFileSystem, ASearchThatFindsNothingGivesNoHandle)
{
    EXPECT_EQ(remote->findFirstFile("data/*"), nullptr);
    EXPECT_EQ(remote->findFirstFile(at("*").c_str()), nullptr);
    EXPECT_EQ(remote->findNextFile(nullptr), nullptr);
    EXPECT_STREQ(remote->findGetFileName(nullptr), "");
    remote->findClose(nullptr);
}

TEST_F(NetworkFileSystem, AListIsShownToItsFilterWhichMayAskForMore)
{
    server.answerList(R"(findFilesRecursive "data" "*" 1)",
                      {"0 \"data/a.map\"", "0 \"data\\b\\c.map\"", "0 \"data/d\""});
    server.answerList(R"(findFiles "data/d")", {"0 0 0 \"d\""});
    std::vector<std::string> shown;
    zu::FileSystem::PathList found;
    remote->listFiles(
        found, "data", nullptr,
        [&](const char* name, const char*) {
            shown.emplace_back(name);
            return namesFound("data/d").size() == 1 && shown.size() != 2;
        },
        true);
    EXPECT_THAT(shown, ElementsAre("a.map", "c.map", "d"));
    EXPECT_THAT(found, ElementsAre(zu::String("data/a.map"), zu::String("data/d")));
}

TEST_F(NetworkFileSystem, AListBeyondTheBufferIsCut)
{
    const std::vector<std::string> entries(40000, "0 \"data/0123456789\"");
    server.answerList(R"(findFilesRecursive "data" "*" 0)", entries);
    zu::FileSystem::PathList found;
    remote->listFiles(found, "data", nullptr, false);
    EXPECT_EQ(found.size(), (dm::NetworkFileSystem::kMaxListBytes - 6 + 19) / 20);
}

TEST_F(NetworkFileSystem, LocalListsWalkThroughItsOwnSearches)
{
    make("sub/b", "");
    make("a", "");
    server.answerList("findFiles \"" + at("sub/*") + "\"", {"0 0 0 \"c\""});
    zu::FileSystem::PathList found;
    remote->listFiles(found, folder.c_str(), nullptr, true);
    EXPECT_THAT(relative(found), ElementsAre("a", "sub/b", "sub/c"));
}
