#pragma once

#include "support/PipeFixture.h"
#include "tools/ToolFixture.h"

/// A file server in a process of its own, with the folder "data" to read and "save" to write in.
/// Games are managers of this process, or other processes.
class ServeFixture : public ToolFixture
{
protected:
    ServeFixture()
    {
        std::filesystem::create_directory(folder / "data");
        std::filesystem::create_directory(folder / "save");
        write("data/a.txt", "hello");
        dm::setResponseCapacityEnforced(true);
    }

    ~ServeFixture() override { dm::deinitCommunicationManagers(); }

    Words serveWords(const Words& options, const std::string& onPort = "0") const
    {
        const Words maps = {"--map", "data=" + path("data"), "--map", "save=" + path("save:rw")};
        return Words{"serve", "--port", onPort} + maps + options;
    }

    /// Starts `dm serve` and learns its port.
    void serve(const Words& options = {}, const std::string& onPort = "0")
    {
        server = startListening(serveWords(options, onPort));
        ASSERT_EQ(server->readErrorLine(), "dm: \"data\" is " + path("data") + ", read-only");
        ASSERT_EQ(server->readErrorLine(),
                  "dm: \"save\" is " + path("save") + ", games may write there");
        port = static_cast<dm::uint32>(std::stoul(portOf(address)));
    }

    /// A game that may have to wait; gone when its manager is.
    dm::CommunicationPipe* knock(const char* name) const
    {
        return dm::initCommunicationManagerAsClient(name, "127.0.0.1", static_cast<int>(port))
            ->getPipe("fileserver");
    }
    dm::CommunicationPipe* come(const char* name = "game") const
    {
        dm::CommunicationPipe* const game = knock(name);
        EXPECT_TRUE(support::waitUntil([game] { return game->isConnected(); }));
        return game;
    }

    static std::string ask(dm::CommunicationPipe* game, const std::string& text)
    {
        return support::ask(game, text).text;
    }

    /// A game of which the test writes every byte, at its session.
    support::ScriptedPeer comeScripted() const
    {
        auto lobby = support::ScriptedPeer::connectTo(port);
        const auto sentTo = lobby.expect(support::WireMessage::Redirect);
        return support::ScriptedPeer::attachTo(sentTo.value, "fileserver");
    }

    /// A game that asks for a long answer and has begun to get it, but does not read it.
    support::ScriptedPeer stall(const std::string& file) const
    {
        auto game = comeScripted();
        game.send(support::request("fileserver", 0, "read 0 2147483647 \"" + file + "\""));
        game.expect(support::WireMessage::Response);
        return game;
    }

    std::string expectLine(const Words& parts) { return await(*server, parts); }
    std::string expectErrorLine(const Words& parts)
    {
        return await(*server, parts, &ChildProcess::readErrorLine);
    }

    Child server;
    dm::uint32 port = 0;
};
