#pragma once

#include "support/PipeFixture.h"
#include "tools/ToolFixture.h"

#include <dm/fs.h>

/// A file server in a process of its own, with the folder "data" to read and "save" to write in.
/// Games are managers of this process, or other processes.
class ServeFixture : public ToolFixture
{
protected:
    using Child = std::unique_ptr<ChildProcess>;

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
        return Words{"serve",
                     "--map",
                     "data=" + path("data"),
                     "--map",
                     "save=" + path("save") + ":rw",
                     "--port",
                     onPort} +
               options;
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

    /// A game that has come when this returns, unless it has to wait.
    class Game
    {
    public:
        Game(dm::uint32 serverPort, std::string managerName)
            : name(std::move(managerName))
            , pipe(dm::initCommunicationManagerAsClient(name.c_str(), "127.0.0.1",
                                                        static_cast<int>(serverPort))
                       ->getPipe(dm::NetworkFileSystem::kPipeName))
        {
        }
        ~Game() { dm::deinitCommunicationManager(name.c_str()); }
        Game(const Game&) = delete;
        Game& operator=(const Game&) = delete;

        bool comes() const
        {
            return support::waitUntil([this] { return pipe->isConnected(); });
        }

        const std::string name;
        dm::CommunicationPipe* const pipe;
    };

    Game come(const std::string& name = "game") const { return Game(port, name); }

    static std::string ask(const Game& game, const std::string& text)
    {
        return support::ask(game.pipe, text).text;
    }

    /// A game of which the test writes every byte, at its session.
    support::ScriptedPeer comeScripted() const
    {
        auto lobby = support::ScriptedPeer::connectTo(port);
        const auto sentTo = lobby.expect(support::WireMessage::Redirect);
        return support::ScriptedPeer::attachTo(sentTo.value, dm::NetworkFileSystem::kPipeName);
    }

    /// A game that asks for a long answer and has begun to get it, but does not read it.
    support::ScriptedPeer stall(const std::string& file) const
    {
        auto game = comeScripted();
        game.send(support::request(dm::NetworkFileSystem::kPipeName, 0,
                                   "read 0 2147483647 \"" + file + "\""));
        game.expect(support::WireMessage::Response);
        return game;
    }

    /// Reads the server's lines until one has all the parts.
    std::string expectLine(const Words& parts) { return expect(&ChildProcess::readLine, parts); }
    std::string expectErrorLine(const Words& parts)
    {
        return expect(&ChildProcess::readErrorLine, parts);
    }

    static bool hasAll(const std::string& line, const Words& parts)
    {
        return std::all_of(parts.begin(), parts.end(), [&](const std::string& part) {
            return line.find(part) != std::string::npos;
        });
    }

    Child server;
    dm::uint32 port = 0;

private:
    std::string expect(std::optional<std::string> (ChildProcess::*next)(), const Words& parts)
    {
        while (const auto line = ((*server).*next)()) {
            if (hasAll(*line, parts))
                return *line;
        }
        ADD_FAILURE() << "no line with " << ::testing::PrintToString(parts);
        return "";
    }
};
