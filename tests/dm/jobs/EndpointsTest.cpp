/// Servers and clients with jobs, in one process and in two.
#include "support/ChildProcess.h"
#include "support/PipeFixture.h"

#include <dm/jobs.h>

#include <iostream>

using namespace support;

namespace {

constexpr size_t kBulkBytes = 3 << 20;

class Endpoints : public PipeFixture
{
protected:
    ~Endpoints() override { dm::deinitCommunicationManagers(); } // before any endpoint of a case
};

} // namespace

TEST_F(Endpoints, ServerListensWhereItSaysAndHasWhatItRegistered)
{
    dm::Server server("game", 0);
    EXPECT_EQ(server.getID(), 0xFFFFFFFFu);
    EXPECT_STREQ(server.getName(), "game");
    testing::internal::CaptureStdout();
    server.registerPipe("assets");
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "Server: \"game\" registered pipe: \"assets\".\n");
    EXPECT_TRUE(dm::getCommunicationPipeManager("game")->pipeExists("assets"));

    ScriptedPeer peer =
        ScriptedPeer::attachTo(static_cast<std::uint32_t>(server.getPort()), "on request");
    EXPECT_TRUE(server.getPipe("on request")->isConnected());
}

TEST_F(Endpoints, PlaceholderDoesNothingUntilAClientIsAssigned)
{
    dm::Server server("game", 0);
    dm::Client client;
    client.connect("127.0.0.1", server.getPort());
    EXPECT_FALSE(dm::communicationPipeManagerExists(""));

    client = dm::Client("tool");
    EXPECT_STREQ(client.getName(), "tool");
    EXPECT_FALSE(client.isPipeAcquired("assets"));
    EXPECT_TRUE(dm::getCommunicationPipeManager("tool")->pipeExists("assets"));
    client.connect("127.0.0.1", server.getPort());
    client.waitPipeToConnect("models");
    EXPECT_TRUE(client.isPipeAcquired("models"));

    client.addJob(new dm::JobSendNotify(client.getPipe("models"), "changed", 7));
    client.runJobs(true);
    dm::uint32 value = 0;
    EXPECT_EQ(takeNotify(server.getPipe("models"), &value), "changed");
    EXPECT_EQ(value, 7u);
}

TEST_F(Endpoints, WaitForAPipeEndsWithItsManager)
{
    dm::Client client("tool");
    auto waiting = std::async(std::launch::async, [&] { client.waitPipeToConnect("assets"); });
    ASSERT_TRUE(
        waitUntil([] { return dm::getCommunicationPipeManager("tool")->pipeExists("assets"); }));
    EXPECT_FALSE(isDone(waiting, std::chrono::milliseconds(20)));
    dm::deinitCommunicationManagers();
    EXPECT_TRUE(isDone(waiting));
}

TEST_F(Endpoints, RequestIsAnsweredByAJobOfAnotherProcess)
{
    ChildProcess game(ChildProcess::role("EndpointsRole.DISABLED_Game"));
    dm::Client tool("tool");
    tool.connect("127.0.0.1", std::stoi(game.readLineAfter("port ")));
    tool.waitPipeToConnect("assets");
    std::string data(kBulkBytes + 1, '#');
    dm::uint32 size = 0;
    tool.addJob(new dm::JobSendRequest("assets", "read hero.mesh", data.data(), kBulkBytes, &size));
    tool.runJobs(true);
    EXPECT_EQ(size, kBulkBytes);
    EXPECT_TRUE(data == someBytes(kBulkBytes) + '#');

    EXPECT_EQ(game.readLine(), "JobWaitRequest: Listening to pipe: assets");
    EXPECT_EQ(game.readLine(), "JobRespond: Responding to pipe: assets");
    game.closeInput();
    EXPECT_EQ(game.wait(), 0);
}

/// What the child process does.
using EndpointsRole = PipeFixture;

TEST_F(EndpointsRole, DISABLED_Game)
{
    dm::Server game("game", 0);
    const std::string mesh = someBytes(kBulkBytes);
    std::cout << "port " << game.getPort() << std::endl;
    game.addJob(new dm::JobWaitRequest("assets", "read"));
    game.addJob(new dm::JobRespond("assets", "ok", mesh.data(), mesh.size()));
    game.runJobs(true);
    std::cin.ignore(std::numeric_limits<std::streamsize>::max()); // until the other end has it
    dm::deinitCommunicationManagers();
}
