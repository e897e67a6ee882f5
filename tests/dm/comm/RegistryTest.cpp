#include "support/PipeFixture.h"

#include <barrier>

using namespace support;

using Registry = PipeFixture;

TEST_F(Registry, SoleManagerIsFoundWithoutItsName)
{
    EXPECT_EQ(dm::getCommunicationPipe("pipe"), nullptr);
    dm::CommunicationPipeManager* server = startServer();
    EXPECT_EQ(startClient(1, "Server"), server) << "a name that is taken";
    EXPECT_EQ(dm::getCommunicationPipeManager(), server);
    EXPECT_FALSE(dm::isResourceHotLoadPipeCreated("pipe"));
    EXPECT_EQ(dm::getCommunicationPipe("pipe"), server->getPipe("PIPE"));
    EXPECT_TRUE(dm::isResourceHotLoadPipeCreated("Pipe"));
    EXPECT_EQ(dm::getCommunicationPipe("SERVER", "pipe"), server->getPipe("pipe"));
    EXPECT_EQ(dm::getCommunicationPipeChecked("client", "pipe"), nullptr);

    dm::CommunicationPipeManager* client = startClient(portOf(server));
    EXPECT_EQ(dm::getCommunicationPipeManager(), nullptr);
    EXPECT_EQ(dm::getCommunicationPipe("pipe"), nullptr);
    dm::deinitCommunicationManager("nobody");
    dm::deinitCommunicationManager("SERVER");
    EXPECT_EQ(dm::getCommunicationPipeManager(), client);

    dm::deinitCommunicationManagers();
    EXPECT_TRUE(dm::isCommunicationPipeManagerMapEmpty());
    EXPECT_EQ(dm::getCommunicationPipeManager(), client) << "kept, for comparing only";
}

TEST_F(Registry, ReplacedServerGoesOnServing)
{
    dm::CommunicationPipeManager* first = startServer();
    Responder responder(first->getPipe("pipe"));
    dm::CommunicationPipeManager* second = startServer();
    ASSERT_NE(first, second);
    EXPECT_EQ(dm::getCommunicationPipeManager(), second);
    dm::CommunicationPipe* pipe = startClient(portOf(first))->getPipe("pipe");
    EXPECT_EQ(ask(pipe, "still there?").text, "still there?");
}

TEST_F(Registry, PipesAreCreatedOnceAndAnnouncedByWhoeverAsked)
{
    dm::CommunicationPipeManager* server = startServer();
    std::vector<std::thread::id> creators;
    auto onCreate = [](void* context, dm::CommunicationPipeManager* manager,
                       dm::CommunicationPipe* pipe) {
        static_cast<decltype(creators)*>(context)->push_back(std::this_thread::get_id());
        EXPECT_EQ(manager->getPipe(pipe->getName()), pipe) << "usable in the callback";
    };
    server->setPipeCreateCallback({&creators, onCreate});
    EXPECT_FALSE(server->pipeExists("pipe"));
    dm::CommunicationPipe* pipe = server->getPipe("pipe");
    EXPECT_EQ(server->getPipe("PIPE"), pipe);
    ScriptedPeer::attachTo(portOf(server), "asked for from afar");
    server->setPipeCreateCallback({});
    ASSERT_EQ(creators.size(), 2u);
    EXPECT_EQ(creators[0], std::this_thread::get_id());
    EXPECT_NE(creators[1], std::this_thread::get_id());
}

TEST_F(Registry, TwoManagersMayMirrorEachOthersPipes)
{
    dm::CommunicationPipeManager* left = startServer(true, "left");
    dm::CommunicationPipeManager* right = startServer(true, "right");
    auto mirror = [](void* other, dm::CommunicationPipeManager*, dm::CommunicationPipe* pipe) {
        auto* manager = static_cast<dm::CommunicationPipeManager*>(other);
        dm::getCommunicationPipe(manager->getName(), pipe->getName());
    };
    left->setPipeCreateCallback({right, mirror});
    right->setPipeCreateCallback({left, mirror});
    auto create = [](dm::CommunicationPipeManager* manager) {
        for (int i = 0; i < 200; ++i)
            manager->getPipe(std::to_string(i).c_str());
    };
    std::thread aside(create, right);
    create(left);
    aside.join();
    EXPECT_TRUE(left->pipeExists("199") && right->pipeExists("199"));
    left->setPipeCreateCallback({});
    right->setPipeCreateCallback({});
}

TEST_F(Registry, CallbackMayUseTheRegistryWhileManagersAreDestroyed)
{
    dm::CommunicationPipeManager* server = startServer();
    auto startMore = [](void* context, dm::CommunicationPipeManager*) {
        ++static_cast<CallCounter*>(context)->calls;
        for (const char* name : {"late 1", "late 2", "late 3"})
            dm::initCommunicationManagerAsServer(name, 0, 1, true);
    };
    server->setClientConnectionCallback({&counter, startMore});
    ScriptedPeer peer = ScriptedPeer::connectTo(portOf(server));
    ASSERT_TRUE(counter.reaches(1));
    dm::deinitCommunicationManagers();
    EXPECT_TRUE(dm::isCommunicationPipeManagerMapEmpty());
}

TEST_F(Registry, TwoCallbacksMayDeinitialiseEachOthersManagersAtOnce)
{
    std::barrier together(2);
    for (const char* name : {"one", "other"}) {
        dm::CommunicationPipeManager* server = startServer(true, name);
        server->setClientConnectionCallback(
            {&together, [](void* barrier, dm::CommunicationPipeManager*) {
                 static_cast<std::barrier<>*>(barrier)->arrive_and_wait();
                 dm::deinitCommunicationManagers();
             }});
    }
    ScriptedPeer first = ScriptedPeer::connectTo(portOf(dm::getCommunicationPipeManager("one")));
    ScriptedPeer second = ScriptedPeer::connectTo(portOf(dm::getCommunicationPipeManager("other")));
    first.expectClosed();
    second.expectClosed();
    dm::deinitCommunicationManagers();
    EXPECT_TRUE(dm::isCommunicationPipeManagerMapEmpty());
}
