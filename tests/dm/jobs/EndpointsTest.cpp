/// Servers and clients with jobs.
#include "support/PipeFixture.h"

#include <dm/jobs.h>

using namespace support;

namespace {

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
