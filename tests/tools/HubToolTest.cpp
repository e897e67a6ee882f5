#include "tools/HubFixture.h"

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
    EXPECT_EQ(dm({"notify", address, "chat", "text", "--hub"}).exitCode, 0);
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
    hub = start({"hub", "0", "--format", "json"});
    const auto next = [this] { return nlohmann::json::parse(hub->readLine().value_or("")); };
    const nlohmann::json listening = next();
    EXPECT_EQ(listening["event"], "listening");
    address = "127.0.0.1:" + std::to_string(listening["port"].get<int>());

    Child member = start({"listen", "--hub", address, "chat", "--format", "json"});
    EXPECT_EQ(nlohmann::json::parse(member->readLine().value_or(""))["event"], "joined");
    nlohmann::json expected = {{"event", "joined"},
                               {"member", 0},
                               {"name", ""},
                               {"address", "127.0.0.1"},
                               {"pipes", nlohmann::json::array()}};
    EXPECT_EQ(next(), expected);
    expected.update({{"event", "pipe"}, {"name", "dm listen"}, {"pipes", {"chat"}}});
    expected["pipe"] = "chat";
    EXPECT_EQ(next(), expected);
    member.reset();
    expected["event"] = "left";
    expected.erase("pipe");
    EXPECT_EQ(next(), expected);
}

TEST_F(HubTool, EndsWhenTheProcessesItWaitsForHaveComeAndGone)
{
    const std::string name = folder.filename();
    startHub({"--wait", name});
    {
        const zu::NamedMutex here((name + "_refcount").c_str());
        // Each takes much longer than the hub needs to look once.
        for (int times = 0; times < 2; ++times)
            EXPECT_EQ(dm({"notify", address, "chat", "text", "--hub"}).exitCode, 0);
    }
    EXPECT_EQ(hub->wait(), 0);

    startHub({"--wait", name + "2", "--name", name + "2"});
    hub->interrupt();
    EXPECT_EQ(hub->wait(), 0);
}

TEST_F(HubTool, MistakesExitWith2AndATakenPortWith3)
{
    startHub();
    const std::string file = write("in", "data");
    for (const Words& words : std::vector<Words>{
             {"hub", "65536"},
             {"hub", "0", "--name", ""},
             {"hub", "0", "--name", "a", "--wait", "b"},
             {"listen", "--hub", address, "0", "chat"},
             {"listen", "--hub", "nowhere", "chat"},
             {"call", address, "chat", "text", "--hub"},
             {"call", address, "chat", "text", "--member", "0"},
             {"call", address, "chat", "text", "--hub", "--member", "0", "--value", "0"},
             {"call", address, "chat", "text", "--hub", "--member", "0", "--data", file},
             {"notify", address, "chat", "text", "--member", "0"},
             {"notify", address, "chat", "text", "--hub", "--member", "0", "--value", "0"},
         })
    {
        SCOPED_TRACE(::testing::PrintToString(words));
        EXPECT_EQ(dm(words).exitCode, 2);
    }
    EXPECT_NE(dm({"call", address, "chat", "text", "--hub"}).errors.find("--member"),
              std::string::npos);
    const Outcome taken = dm({"hub", portOf(address)});
    EXPECT_EQ(taken.exitCode, 3);
    EXPECT_NE(taken.errors.find(portOf(address)), std::string::npos) << taken.errors;
    hub->interrupt();
    EXPECT_EQ(hub->readRest(), ""); // none of them has joined
}

TEST_F(HubTool, MembersCallOneAndNotifyAllOthers)
{
    startHub();
    Child first = join("chat", {"--exec", "head -c 70000 /dev/zero"});
    Child second = join("chat", {"--answer", "I am second"});

    EXPECT_EQ(call("who?", {"--hub", "--member", "1"}).output, "I am second\n");
    EXPECT_EQ(second->readLine(), "request 0 who?");
    const Outcome cut = call("all", {"--hub", "--member", "0", "--out", path("out")});
    EXPECT_EQ(cut.exitCode, 0);
    EXPECT_NE(cut.errors.find("may be cut"), std::string::npos) << cut.errors;
    EXPECT_EQ(read("out").size(), 65536u);
    EXPECT_EQ(first->readLine(), "request 0 all");

    const Outcome absent = call("who?", {"--hub", "--member", "99"});
    EXPECT_EQ(absent.output, "\n");
    EXPECT_NE(absent.errors.find("member 99"), std::string::npos) << absent.errors;

    const Outcome told = dm({"notify", address, "chat", "note", "--hub", "--member", "1"});
    EXPECT_EQ(told.exitCode, 0);
    EXPECT_NE(told.errors.find("every other member"), std::string::npos) << told.errors;
    for (const Child* member : {&first, &second})
        EXPECT_EQ((*member)->readLine(), "notify 5 note"); // with the number of its sender
}

TEST_F(HubTool, AMemberWaitsForAHubAndComesBackToIt)
{
    address = GreetingProgram().address(); // its port is free again by now
    Child member = start({"listen", "--hub", address, "chat", "--answer", "yes"});
    const auto expectSaid = [&](const std::string& part) {
        const std::string line = member->readErrorLine().value_or("");
        EXPECT_NE(line.find(part + address), std::string::npos) << line;
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
