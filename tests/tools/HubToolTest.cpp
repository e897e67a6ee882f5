#include "tools/HubFixture.h"

#include <zul/NamedMutex.h>

namespace {

using HubTool = HubFixture;

TEST_F(HubTool, PrintsWhoComesAndGoesAndEndsCleanly)
{
    startHub();
    Child killed = join("evil\nmember 0 left");
    expectEvents({"member 0 joined from 127.0.0.1",
                  "member 0 \"dm listen\" opened pipe \"evil\\nmember 0 left\""});
    killed->kill();
    expectEvents({"member 0 \"dm listen\" left"});
    expectEnd(0, {"notify", address, "chat", "text", "--hub"});
    expectEvents({"member 1 joined from 127.0.0.1", "member 1 \"dm\" opened pipe \"chat\"",
                  "member 1 \"dm\" left"});

    Child stays = join("chat");
    hub->interrupt();
    EXPECT_EQ(hub->wait(), 0);
    EXPECT_EQ(hub->readErrorRest(), "");
    EXPECT_NE(stays->readErrorLine().value_or("").find("lost the connection"), std::string::npos);
}

TEST_F(HubTool, PrintsOneJsonObjectAnEvent)
{
    hub = startListeningAsJson({"hub", "0"});
    Child member = start({"listen", "--hub", address, "chat", "--format", "json"});
    EXPECT_EQ(nextJson(member)["event"], "joined");
    const std::string from = R"({"address":"127.0.0.1","event":")";
    const std::string named = R"(","member":0,"name":"dm listen",)";
    EXPECT_EQ(nextJson(hub).dump(), from + R"(joined","member":0,"name":"","pipes":[]})");
    EXPECT_EQ(nextJson(hub).dump(), from + "pipe" + named + R"("pipe":"chat","pipes":["chat"]})");
    member.reset();
    EXPECT_EQ(nextJson(hub).dump(), from + "left" + named + R"("pipes":["chat"]})");
}

TEST_F(HubTool, EndsWhenTheProcessesItWaitsForHaveComeAndGone)
{
    const std::string name = folder.filename();
    startHub({"--wait", name});
    {
        const zu::NamedMutex here((name + "_refcount").c_str());
        // Each takes much longer than the hub needs to look once.
        for (int times = 0; times < 2; ++times)
            expectEnd(0, {"notify", address, "chat", "text", "--hub"});
    }
    EXPECT_EQ(hub->wait(), 0);

    startHub({"--wait", name + "2", "--name", name + "2"});
    hub->interrupt();
    EXPECT_EQ(hub->wait(), 0);
}

TEST_F(HubTool, MistakesExitWith2AndATakenPortWith3)
{
    startHub();
    for (const Words& words : std::vector<Words>{{"hub", "65536"},
                                                 {"hub", "0", "--name", ""},
                                                 {"hub", "0", "--name", "a", "--wait", "b"},
                                                 {"listen", "--hub", address, "0", "chat"},
                                                 {"listen", "--hub", "nowhere", "chat"}})
        expectEnd(2, words);
    for (const Words& more :
         {Words{"--member", "0"}, Words{"--hub", "--member", "0", "--value", "0"},
          Words{"--hub", "--member", "0", "--data", write("in", "data")}})
    {
        expectEnd(2, Words{"call", address, "chat", "text"} + more);
        expectEnd(2, Words{"notify", address, "chat", "text"} + more);
    }
    expectEnd(2, {"call", address, "chat", "text", "--hub"}, "--member");
    expectEnd(3, {"hub", portOf(address)}, portOf(address));
    hub->interrupt();
    EXPECT_EQ(hub->readRest(), ""); // none of them has joined
}

TEST_F(HubTool, MembersCallOneAndNotifyAllOthers)
{
    startHub();
    const Child first = join("chat", {"--exec", "head -c 70000 /dev/zero"});
    const Child second = join("chat", {"--answer", "I am second"});
    const Words who = {"call", address, "chat", "who?", "--hub", "--member"};
    EXPECT_EQ(expectEnd(0, who + Words{"1"}).output, "I am second\n");
    EXPECT_EQ(second->readLine(), "request 0 who?");
    expectEnd(0, who + Words{"0", "--out", path("out")}, "may be cut");
    EXPECT_EQ(read("out").size(), 65536u);
    EXPECT_EQ(first->readLine(), "request 0 who?");
    EXPECT_EQ(expectEnd(0, who + Words{"99"}, "member 99").output, "\n");

    expectEnd(0, {"notify", address, "chat", "note", "--hub", "--member", "1"},
              "every other member");
    for (const Child* member : {&first, &second})
        EXPECT_EQ((*member)->readLine(), "notify 5 note"); // with the number of its sender
}

TEST_F(HubTool, AMemberWaitsForAHubAndComesBackToIt)
{
    aimAtNobody();
    const Child member = start({"listen", "--hub", address, "chat", "--answer", "yes"});
    const auto expectSaid = [&](const std::string& part) {
        EXPECT_THAT(member->readErrorLine().value_or(""), testing::HasSubstr(part + address));
    };
    expectSaid("not connected to ");
    startHub({}, portOf(address));
    expectSaid("member of the hub at ");
    hub->kill();
    expectSaid("lost the connection to ");
    hub->wait();
    startHub({}, portOf(address));
    expectSaid("connected to ");
    EXPECT_EQ(call("there?", {"--hub", "--member", "0"}).output, "yes\n");
    member->interrupt();
    EXPECT_EQ(member->wait(), 130);
}

} // namespace
