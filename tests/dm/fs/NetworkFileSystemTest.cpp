#include "dm/fs/NetworkFixture.h"

using namespace support;
using testing::ElementsAre;
using testing::IsEmpty;

using NetworkFileSystem = NetworkFixture;

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
    const std::string path = makeReadOnly("a.txt", "");
    EXPECT_TRUE(remote->fileExists(path.c_str()) && remote->isFileReadOnly(path.c_str()));
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
    EXPECT_THAT(find(pattern), ElementsAre("_c 5", "a/", "B.TXT 7", "c 1", "D 5"));
    EXPECT_THAT(asked(), ElementsAre("findFiles \"" + pattern + "\"", kFolders));
    remote->findClose(remote->findNextFile(nullptr)); // of a search that found nothing
    EXPECT_STREQ(remote->findGetFileName(nullptr), "");
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
            return find("data/d").size() == 1 && shown.size() != 2;
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
