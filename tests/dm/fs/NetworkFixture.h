/// A game with remote files, and the server it asks.
#pragma once

#include "support/ScriptedFileServer.h"
#include "zul/FileFixture.h"

#include <dm/fs.h>

namespace support {

/// The server maps "data"; local paths are those of a folder of the test's own.
class NetworkFixture : public FileFixture
{
protected:
    static constexpr const char* kFolders = "getMappedFolders";
    using Mode = zu::File::Mode;

    NetworkFixture()
    {
        server.answerList(kFolders, {"data,/home/me/game/data"});
        connect("game", server);
        remote = std::make_unique<dm::NetworkFileSystem>(files);
        EXPECT_TRUE(waitUntil([&] { return remote->isPipeAcquired(); }));
    }
    ~NetworkFixture() override { dm::deinitCommunicationManagers(); }

    /// A pipe that nobody has looked up is not opened: the file system comes at once.
    static void connect(const char* manager, ScriptedFileServer& to)
    {
        dm::initCommunicationManagerAsClient(manager, "127.0.0.1", static_cast<int>(to.port()));
    }

    /// Has the folders fetched and forgets what was asked so far.
    void settle()
    {
        remote->fileExists("data/settle");
        server.takeCommands();
    }

    std::vector<std::string> asked() { return server.takeCommands(); }

    std::vector<std::string> find(const std::string& pattern)
    {
        return FileFixture::find(*remote, pattern);
    }

    void answer(const std::string& command, const std::string& text, const std::string& data = "")
    {
        server.answer(command, {text, data});
    }

    zu::FileHandle* openRemote(const char* path, Mode mode = zu::File::ReadWrite)
    {
        zu::FileHandle* handle = remote->openFile(path, mode);
        EXPECT_NE(handle, nullptr);
        server.takeCommands();
        return handle;
    }

    ScriptedFileServer server;
    std::unique_ptr<dm::NetworkFileSystem> remote;
};

} // namespace support
