/// The broadcast hub and its members, in one process.
#include "support/ChildProcess.h"
#include "support/LogCollector.h"
#include "support/PipeFixture.h"

#include <dm/jobs.h>
#include <zul/Listener.h>

#include <array>
#include <iostream>
#include <random>

using namespace support;

namespace {

constexpr const char* kPortVariable = "DM_TEST_PORT";

using Notified = std::pair<std::string, dm::uint32>;

/// A client of the hub on the pipe "chat" that keeps what it is told.
class Member
{
public:
    Member(const std::string& memberName, int hubPort)
        : name(memberName)
        , client(name.c_str())
        , pipe(client.getPipe("chat"))
    {
        pipe->setNotifyCallback(
            {this, [](void* self, dm::CommunicationPipe*) { static_cast<Member*>(self)->take(); }});
        client.connect("127.0.0.1", hubPort);
    }
    ~Member() { leave(); }

    void waitJoined() { client.waitPipeToConnect("chat"); }

    void leave() { dm::deinitCommunicationManager(name.c_str()); }

    bool waitNotified(size_t count)
    {
        return waitUntil([&] {
            const std::lock_guard guard(lock);
            return taken.size() >= count;
        });
    }

    std::vector<Notified> notified()
    {
        const std::lock_guard guard(lock);
        return taken;
    }

    const std::string name;
    dm::Client client;
    dm::CommunicationPipe* const pipe;

private:
    void take()
    {
        dm::uint32 value = 0;
        const std::string text = toString(pipe->receiveNotify(&value));
        const std::lock_guard guard(lock);
        taken.emplace_back(text, value);
    }

    std::mutex lock;
    std::vector<Notified> taken; // under lock
};

class Hub : public PipeFixture
{
protected:
    ~Hub() override
    {
        members.clear();
        dm::deinitCommunicationManagers();
        hub.reset();
    }

    /// Makes it so many members, all at once; each then stands at its member number.
    void joinMany(size_t count)
    {
        const size_t before = members.size();
        while (members.size() < count)
            members.push_back(std::make_unique<Member>("member" + std::to_string(members.size()),
                                                       hub->getPort()));
        for (size_t index = before; index < count; ++index)
            members[index]->waitJoined();
        for (size_t number = before; number < count; ++number) {
            const std::string manager = "hubc" + std::to_string(number);
            const std::string joined =
                dm::getCommunicationPipeManager(manager.c_str())->getRemoteName();
            std::swap(members[number],
                      *std::find_if(members.begin(), members.end(),
                                    [&](auto& member) { return member->name == joined; }));
        }
    }

    Member& member(size_t number) { return *members[number]; }

    Member& join()
    {
        joinMany(members.size() + 1);
        return *members.back();
    }

    LogCollector log; // outlives whatever logs
    std::unique_ptr<dm::BroadcastServer> hub = std::make_unique<dm::BroadcastServer>("hub", 0);
    std::vector<std::unique_ptr<Member>> members;
};

} // namespace

TEST_F(Hub, GivesEachClientAManagerAndTheNextPortOrAnotherWhenThatIsTaken)
{
    std::mt19937 random(std::random_device{}());
    for (bool isAsNumbered = false; !isAsNumbered;) { // until the ports were free
        dm::deinitCommunicationManagers();
        const int port = std::uniform_int_distribution(20000, 32000)(random);
        const std::string name = "numbered" + std::to_string(port);
        const net::Listener taken(port + 3);
        const dm::BroadcastServer numbered(name.c_str(), port);
        if (!taken.isListening() ||
            dm::getConnectionStatus(name.c_str()).state != dm::ConnectionStatus::Connected)
            continue;
        int ports[3] = {};
        for (const unsigned number : {0u, 1u, 2u}) {
            members.push_back(std::make_unique<Member>("member" + std::to_string(number), port));
            members.back()->waitJoined();
            dm::CommunicationPipeManager* const manager =
                dm::getCommunicationPipeManager((name + "c" + std::to_string(number)).c_str());
            ASSERT_NE(manager, nullptr);
            EXPECT_EQ(manager->getID(), number);
            EXPECT_EQ(manager->getRemoteName(), members.back()->name);
            ports[number] = static_cast<int>(portOf(manager));
        }
        EXPECT_NE(ports[2], port + 3);
        isAsNumbered = ports[0] == port + 1 && ports[1] == port + 2;
        members.clear();
        dm::deinitCommunicationManagers();
    }
}

TEST_F(Hub, HandsEachNotificationToEveryOtherMemberOnceWithItsSender)
{
    joinMany(4);
    for (const size_t sender : {2u, 3u, 1u}) {
        const std::string text = sender == 3 ? "" : "from " + std::to_string(sender);
        ASSERT_TRUE(member(sender).pipe->sendNotify(text.c_str(), 99));
    }
    const std::array<std::set<Notified>, 4> expected = {{
        {{"from 1", 1}, {"from 2", 2}, {"", 3}},
        {{"from 2", 2}, {"", 3}},
        {{"from 1", 1}, {"", 3}},
        {{"from 1", 1}, {"from 2", 2}},
    }};
    for (size_t index = 0; index < members.size(); ++index)
        EXPECT_TRUE(member(index).waitNotified(expected[index].size()));
    // What came twice, or back, would have come before the answer to a request sent after it.
    Responder responder(member(0).pipe);
    for (size_t index = 1; index < members.size(); ++index)
        ask(member(index).pipe, "flushed?", "", 0);
    for (size_t index = 0; index < members.size(); ++index) {
        const std::vector<Notified> got = member(index).notified();
        EXPECT_EQ(got.size(), expected[index].size());
        EXPECT_EQ(std::set<Notified>(got.begin(), got.end()), expected[index]);
    }
}

TEST_F(Hub, KeepsTheOrderOfManyNotificationsToManyMembers)
{
    constexpr size_t kMembers = 64;
    constexpr size_t kNotifications = 10000;
    joinMany(kMembers);
    for (size_t number = 0; number < kNotifications; ++number)
        ASSERT_TRUE(member(0).pipe->sendNotify(std::to_string(number).c_str(), 0));
    for (size_t index = 1; index < kMembers; ++index) {
        for (size_t part = 1; part <= 10; ++part) // a long way for a sanitized build
            ASSERT_TRUE(member(index).waitNotified(kNotifications * part / 10));
        const std::vector<Notified> got = member(index).notified();
        ASSERT_EQ(got.size(), kNotifications);
        for (size_t number = 0; number < kNotifications; ++number)
            ASSERT_EQ(got[number].first, std::to_string(number)) << "member " << index;
    }
    EXPECT_TRUE(member(0).notified().empty());
}

TEST_F(Hub, ForwardsRequestsWithTheirTextAndAnswersWithTheirData)
{
    joinMany(2);
    const std::string data = someBytes(0x10000);
    Responder responder(member(1).pipe, [&](const std::string& text, const std::string& sent) {
        return Answer{text + "!" + std::to_string(sent.size()), data};
    });
    EXPECT_EQ(ask(member(0).pipe, "hello", "", 1, 0x10000), (Answer{"hello!0", data}));
    // Data of a request stays in the hub; of an answer as much comes back as a hub takes in.
    Responder larger(member(0).pipe, [](const std::string&, const std::string&) {
        return Answer{"", someBytes(0x10001)};
    });
    const Answer cut = ask(member(1).pipe, "large?", "data", 0, 0x20000);
    EXPECT_EQ(cut, (Answer{"", someBytes(0x10001).substr(0, 0x10000)}));
    EXPECT_EQ(cut.size, 0x10000u);
    for (const char* line :
         {"Server \"hubc1\" was connected by a client\n",
          "Manager \"hubc0\" created a pipe \"chat\"\n", "broadcastserver pipeRequestCallback\n"})
        EXPECT_TRUE(log.mentions(line)) << line;
}

TEST_F(Hub, ForwardsOverlappingRequestsBothWaysEachToItsAsker)
{
    joinMany(2);
    Responder first(member(0).pipe);
    Responder second(member(1).pipe);
    std::vector<std::future<void>> askers;
    for (dm::uint32 thread = 0; thread < 10; ++thread)
        askers.push_back(std::async(std::launch::async, [&, thread] {
            for (int round = 0; round < 10; ++round) {
                const std::string text = std::to_string(thread) + "/" + std::to_string(round);
                const dm::uint32 target = thread % 2;
                EXPECT_EQ(ask(member(1 - target).pipe, text, "", target).text, text);
            }
        }));
    for (auto& asker : askers)
        EXPECT_TRUE(isDone(asker));
}

TEST_F(Hub, LetsMembersAskEachOtherWhileTheyAnswer)
{
    joinMany(2);
    Responder first(member(0).pipe, [](const std::string& text, const std::string&) {
        return Answer{"first knows " + text};
    });
    Responder second(member(1).pipe, [&](const std::string& text, const std::string&) {
        return Answer{"second heard: " + ask(member(1).pipe, text, "", 0).text};
    });
    for (int round = 0; round < 20; ++round)
        ASSERT_EQ(ask(member(0).pipe, "it", "", 1).text, "second heard: first knows it");
}

TEST_F(Hub, AnswersNothingForMembersThatAreNotOrNoLongerThere)
{
    joinMany(2);
    for (const dm::uint32 number : {2u, 1000u, 0xFFFFFFFFu})
        EXPECT_EQ(ask(member(0).pipe, "anybody?", "", number), Answer{""});

    ChildProcess child(ChildProcess::role("HubProcessRole.DISABLED_Ower"),
                       {{kPortVariable, std::to_string(hub->getPort())}});
    auto asking = std::async(std::launch::async, [&] {
        while (dm::getCommunicationPipeManager("hubc2") == nullptr)
            std::this_thread::yield();
        return ask(member(0).pipe, "you owe me", "", 2).text;
    });
    child.readLineAfter("you owe me");
    child.kill(); // while it owes an answer
    EXPECT_EQ(asking.get(), "");
    EXPECT_EQ(ask(member(0).pipe, "still gone?", "", 2).text, "");
    Responder responder(member(1).pipe);
    EXPECT_EQ(ask(member(0).pipe, "and you?", "", 1).text, "and you?");
}

/// The member of another process.
TEST(HubProcessRole, DISABLED_Ower)
{
    dm::Client client("ower");
    dm::CommunicationPipe* const pipe = client.getPipe("chat");
    client.connect("127.0.0.1", std::atoi(std::getenv(kPortVariable)));
    std::cout << takeRequest(pipe) << std::endl;
    std::cin.get(); // until it is killed
}

TEST_F(Hub, DropsAnswersForAskersThatHaveLeft)
{
    joinMany(2);
    auto asking = askAside(member(0).pipe, "never mind", "", 0, 1);
    EXPECT_EQ(takeRequest(member(1).pipe), "never mind");
    member(0).leave();
    EXPECT_EQ(asking.get().text, "");
    auto next = askAside(join().pipe, "me now", "", 0, 1);
    member(1).pipe->respond("for nobody", nullptr, 0);
    EXPECT_EQ(takeRequest(member(1).pipe), "me now");
    member(1).pipe->respond("for you", nullptr, 0);
    EXPECT_EQ(next.get().text, "for you");
}

TEST_F(Hub, BroadcastWaitsForAMemberWithoutHoldingUpOthersOrTheEnd)
{
    joinMany(1);
    auto broadcast = std::async(std::launch::async, [&] { hub->broadcastNotify("news", "extra"); });
    dm::CommunicationPipeManager* const first = dm::getCommunicationPipeManager("hubc0");
    ASSERT_TRUE(waitUntil([&] { return first->pipeExists("news"); }));
    Member& late = join();
    auto asking = askAside(late.pipe, "are you held up?"); // of member 0
    EXPECT_EQ(takeRequest(member(0).pipe), "are you held up?");
    member(0).pipe->respond("no", nullptr, 0);
    EXPECT_EQ(asking.get().text, "no");
    EXPECT_FALSE(isDone(broadcast, std::chrono::milliseconds(0)));
    dm::uint32 value = 0;
    EXPECT_EQ(takeNotify(member(0).client.getPipe("news"), &value), "extra");
    EXPECT_EQ(value, 0xFFFFFFFF);
    EXPECT_TRUE(isDone(broadcast));

    broadcast = std::async(std::launch::async, [&] { hub->broadcastNotify("never opened", ""); });
    ASSERT_TRUE(waitUntil([&] { return first->pipeExists("never opened"); }));
    dm::deinitCommunicationManagers();
    EXPECT_TRUE(isDone(broadcast));
}

TEST_F(Hub, KeepsNoMoreOfALyingMembersAnswersThanItHandsOn)
{
    joinMany(2);
    ScriptedPeer liar =
        ScriptedPeer::attachTo(portOf(dm::getCommunicationPipeManager("hubc1")), "lies");
    members[0]->client.waitPipeToConnect("lies");
    auto answered = askAside(members[0]->client.getPipe("lies"), "how much?", "", 0x10000, 1);
    WireMessage lie = response("lies", liar.expect(WireMessage::Request).id, "this much");
    for (const dm::uint32 total : {10u, 0x20000u, 0xFFFFFFFFu, 0x10004u}) {
        lie.total = total;
        lie.offset = total - 8;
        lie.chunk = total == 0x10004u ? "lastlast" : "lie";
        liar.send(lie);
    }
    const Answer answer = answered.get();
    EXPECT_EQ(answer.size, 0x10000u);
    EXPECT_EQ(answer.data.substr(0xFFFC), "last");
}

TEST_F(Hub, NoticesThatAMemberLeftWhoeverElseIsConnectedToItsPort)
{
    joinMany(2);
    ScriptedPeer idle = ScriptedPeer::connectTo(portOf(dm::getCommunicationPipeManager("hubc1")));
    idle.expect(WireMessage::Welcome);
    members[1]->leave();
    EXPECT_EQ(ask(members[0]->pipe, "gone?", "", 1).text, "");
}

TEST_F(Hub, EndsTheOldRequestOfAPipeThatAnotherConnectionTakesOver)
{
    joinMany(2);
    const dm::uint32 port = portOf(dm::getCommunicationPipeManager("hubc0"));
    WireMessage toSecond = request("taken", 0, "old");
    toSecond.value = 1;
    // First the end that asks for the pipe only once: while a hub is making one it does not answer.
    ScriptedPeer old = ScriptedPeer::attachTo(port, "taken");
    members[1]->client.waitPipeToConnect("taken");
    dm::CommunicationPipe* const asked = members[1]->client.getPipe("taken");
    old.send(toSecond);
    EXPECT_EQ(takeRequest(asked), "old");
    ScriptedPeer now = ScriptedPeer::attachTo(port, "taken");
    toSecond.text = "new";
    now.send(toSecond);
    EXPECT_EQ(takeRequest(asked), "new");
    asked->respond("for the new one", nullptr, 0);
    EXPECT_EQ(now.expect(WireMessage::Response).text, "for the new one");
}

TEST_F(Hub, LetsMembersMakeOnlySoManyPipesAllTogether)
{
    joinMany(2); // and the pipe "chat"
    ScriptedPeer maker = ScriptedPeer::connectTo(portOf(dm::getCommunicationPipeManager("hubc0")));
    for (dm::uint32 number = 1; number < dm::BroadcastServer::kMaxPipes; ++number)
        maker.send(openPipe(std::to_string(number)));
    while (maker.expect(WireMessage::PipeOpened).name !=
           std::to_string(dm::BroadcastServer::kMaxPipes - 1))
        ;
    ScriptedPeer other = ScriptedPeer::connectTo(portOf(dm::getCommunicationPipeManager("hubc1")));
    other.send(openPipe("one too many"));
    EXPECT_EQ(other.expect(WireMessage::PipeRefused).name, "one too many");
    other.send(openPipe("17"));
    EXPECT_EQ(other.expect(WireMessage::PipeOpened).name, "17");
}

TEST_F(Hub, RelaysBetweenItsMembersAndAServerItJoined)
{
    dm::Server server("server", 0);
    dm::CommunicationPipe* const pipe = server.getPipe("chat");
    hub->connect(&server);
    Member other("other", hub->getPort());
    other.waitJoined();
    waitConnected(pipe);
    std::string arrived; // not at once: the hub may not know yet that the server has the pipe
    ASSERT_TRUE(waitUntil([&] {
        return other.pipe->sendNotify("to the server", 0) &&
               !(arrived = toString(pipe->receiveNotify(nullptr))).empty();
    }));
    EXPECT_EQ(arrived, "to the server");
    ASSERT_TRUE(pipe->sendNotify("from the server", 0));
    EXPECT_TRUE(other.waitNotified(1));
    Responder responder(pipe);
    EXPECT_EQ(ask(other.pipe, "server?", "", 0).text, "server?");
}

TEST_F(Hub, MayGoBeforeItsManagersWithRequestsUnderWay)
{
    joinMany(3);
    auto asking = askAside(member(0).pipe, "late", "", 0, 1);
    EXPECT_EQ(takeRequest(member(1).pipe), "late");
    hub.reset();
    EXPECT_EQ(asking.get().text, "");
    member(1).pipe->respond("at last", nullptr, 0);
    ASSERT_TRUE(member(0).pipe->sendNotify("nobody relays this", 0));
    auto unanswered = askAside(member(0).pipe, "hub?", "", 0, 2);
    Member orphan("orphan", static_cast<int>(portOf(dm::getCommunicationPipeManager("hub"))));
    orphan.waitJoined(); // served by the main manager, for want of a hub
    member(0).leave();
    EXPECT_EQ(unanswered.get().text, "");
}

TEST_F(Hub, EndsWhileClientsAreConnecting)
{
    for (int round = 0; round < 3; ++round) {
        dm::BroadcastServer busy("busy", 0);
        std::atomic<int> made{0};
        std::thread connecting([&] {
            for (int number = 0; number < 30; ++number, ++made) {
                const std::string name = "client" + std::to_string(number);
                dm::initCommunicationManagerAsClient(name.c_str(), "127.0.0.1", busy.getPort())
                    ->getPipe("chat");
            }
        });
        while (made < 10 * round)
            std::this_thread::yield();
        dm::deinitCommunicationManager("busy");
        connecting.join();
        dm::deinitCommunicationManagers();
    }
}
