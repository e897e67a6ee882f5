/// Managers, connections and instances come and go; nothing hangs, and nothing is used that is
/// gone.
#include "dm/fs/NetworkFixture.h"

using namespace support;
using namespace std::chrono_literals;

using NetworkLifetime = NetworkFixture;

TEST_F(NetworkLifetime, WhatWaitsEndsWithTheManager)
{
    settle();
    for (const char* command : {R"(read 0 4 "data/a")", R"(findFiles "data/*")"})
        server.withhold(command);
    zu::FileHandle* handle = openRemote("data/a");
    char buffer[4];
    auto reading = std::async(std::launch::async,
                              [&] { return remote->readFile(handle, buffer, sizeof buffer); });
    auto listing = std::async(std::launch::async, [&] { return find("data/*"); });
    ASSERT_TRUE(waitUntil([&] {
        return server.countOf(R"(findFiles "data/*")") + server.countOf(R"(read 0 4 "data/a")") ==
               2;
    }));
    // Behind the one that lists.
    auto listingToo = std::async(std::launch::async, [&] {
        zu::FileSystem::PathList found;
        remote->listFiles(found, "data", nullptr, true);
        return found.size();
    });
    EXPECT_FALSE(isDone(listingToo, 20ms));

    dm::deinitCommunicationManager("game");
    ASSERT_TRUE(isDone(reading) && isDone(listing) && isDone(listingToo));
    EXPECT_EQ(reading.get(), 0u);
    EXPECT_TRUE(listing.get().empty());
    EXPECT_EQ(listingToo.get(), 0u);
    EXPECT_TRUE(remote->closeFile(handle));

    // Lists are free for the next.
    ScriptedFileServer another;
    another.answerList(R"(findFiles "data/*")", {"0 0 0 \"a\""});
    connect("game", another);
    EXPECT_EQ(find("data/*").size(), 1u);
    dm::deinitCommunicationManagers();
}

TEST_F(NetworkLifetime, WithoutExactlyOneManagerTheServerHasNoAnswer)
{
    settle();
    zu::FileHandle* handle = openRemote("data/a");
    dm::initCommunicationManagerAsServer("second", 0, 1, false);
    char byte = 0;
    EXPECT_FALSE(remote->fileExists("data/a"));
    EXPECT_EQ(remote->openFile("data/a", zu::File::Read), nullptr);
    EXPECT_EQ(remote->readFile(handle, &byte, 1), 0u);
    EXPECT_EQ(remote->writeFile(handle, &byte, 1), 0u);
    EXPECT_EQ(remote->getFileTime(handle), zu::File::Time());
    EXPECT_EQ(remote->findFirstFile("data/*"), nullptr);
    EXPECT_TRUE(remote->closeFile(handle));
    EXPECT_TRUE(asked().empty());

    dm::deinitCommunicationManager("second");
    answer(R"(fileExists "data/a")", "true");
    EXPECT_TRUE(remote->fileExists("data/a")) << "as before, for nothing was forgotten";
    EXPECT_EQ(server.countOf(kFolders), 1u);
}

TEST_F(NetworkLifetime, MadeWithoutAManagerItIsTheLocalFileSystem)
{
    dm::deinitCommunicationManagers();
    dm::NetworkFileSystem alone(files);
    EXPECT_FALSE(alone.isPipeAcquired());
    EXPECT_TRUE(alone.fileExists(make("a").c_str()));
    EXPECT_EQ(alone.findFirstFile("data/*"), nullptr);
}

TEST_F(NetworkLifetime, OnTheManagersThreadNothingWaits)
{
    settle();
    std::promise<bool> existed;
    auto tryThere = [&](dm::CommunicationPipe*) {
        existed.set_value(remote->fileExists("data/a") ||
                          remote->findFirstFile("data/*") != nullptr);
    };
    dm::PipeCallback callback{&tryThere, [](void* context, dm::CommunicationPipe* pipe) {
                                  (*static_cast<decltype(tryThere)*>(context))(pipe);
                              }};
    dm::getCommunicationPipe("fileserver")->setConnectionCallback(callback);
    server.dropAt(R"(deleteFile "data/a")");
    remote->deleteFile("data/a");
    EXPECT_FALSE(existed.get_future().get());
    dm::getCommunicationPipe("fileserver")->setConnectionCallback({});
}

TEST_F(NetworkLifetime, TheLastMadeIsTheInstanceUntilAnyIsDestroyed)
{
    EXPECT_EQ(&dm::NetworkFileSystem::getInstance(), remote.get());
    auto* newer = new dm::NetworkFileSystem(files);
    newer->setLocalRoot("devkit:\\OTHER\\");
    EXPECT_EQ(&dm::NetworkFileSystem::getInstance(), newer);
    dm::NetworkFileSystem::deleteInstance();
    dm::NetworkFileSystem::deleteInstance(); // there is none any more
    newer = new dm::NetworkFileSystem(files);
    remote.reset();
    dm::NetworkFileSystem::deleteInstance();
    EXPECT_FALSE(newer->isPipeAcquired()) << "still there, and the pipe was connected before";
    delete newer;
}

TEST_F(NetworkLifetime, ConnectionsFindTheInstanceGoneOrThere)
{
    std::atomic<bool> stopping{false};
    auto dropping = std::async(std::launch::async, [&] {
        for (int i = 0; i < 4; ++i) {
            server.dropAt("drop");
            dm::getCommunicationPipe("fileserver")
                ->sendRequest("drop", 0, nullptr, 0, nullptr, nullptr, 0);
        }
        stopping = true;
    });
    remote.reset();
    while (!stopping) {
        new dm::NetworkFileSystem(files);
        dm::NetworkFileSystem::getInstance().fileExists("data/a");
        dm::NetworkFileSystem::deleteInstance();
    }
    dropping.get();
}
