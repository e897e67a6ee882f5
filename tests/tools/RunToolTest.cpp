#include "support/PipeFixture.h"
#include "tools/HubFixture.h"

namespace {

class RunTool : public HubFixture
{
protected:
    /// The words that run a script of these lines under this name.
    Words run(const std::string& name, const Words& lines, const Words& options = {}) const
    {
        std::string script;
        for (const std::string& line : lines)
            script += line + '\n';
        return Words{"run", write(name + ".jobs", script), "--name", name, "--connect", address} +
               options;
    }
};

TEST_F(RunTool, TwoScriptsTalkThroughAHub)
{
    startHub();
    const std::string bytes = support::someBytes(60'000);
    const std::string in = write("in", bytes);
    const Child game =
        start(run("game", {"wait-request assets", "respond assets \"the level\" < " + in,
                           "wait-notify-and-request assets built \"send it\" > " + path("back")}));
    expectEvents({"member 0 joined from 127.0.0.1", "member 0 \"game\" opened pipe \"assets\""});
    // What is sent last must have arrived when it ends.
    const Outcome build = expectEnd(
        0, run("build", {"request assets \"the source\" > " + path("out"), "notify assets built 7",
                         "wait-request assets", "respond assets here < " + in}));
    const std::string responded = "JobWaitRequest: Listening to pipe: assets\n"
                                  "JobRespond: Responding to pipe: assets\n";
    EXPECT_EQ(build.output, responded);
    EXPECT_EQ(game->wait(), 0);
    EXPECT_EQ(game->readRest(), responded +
                                    "JobManager \"game\" Waiting for Notify \"built\"\n"
                                    "JobManager \"game\" doing request: send it\n"
                                    "JobManager \"game\" got response: here from pipe: assets \n");
    EXPECT_TRUE(read("out") == bytes && read("back") == bytes);
}

TEST_F(RunTool, AScriptWithMistakesRunsNothing)
{
    startHub();
    const Outcome wrong =
        expectEnd(2, run("wrong", {"notify chat hello 1", "", "  request chat", "shout"}),
                  "\n" + path("wrong.jobs") + ":4:1: 'shout'");
    EXPECT_EQ(wrong.errors.find(path("wrong.jobs") + ":3:15: TEXT"), 0u) << wrong.errors;
    expectEnd(7, run("missing", {"notify chat hello 1", "respond chat a < absent"}), "absent");
    expectEnd(7, {"run", path("nothing"), "--name", "a", "--connect", address});
    EXPECT_EQ(dm({"run", "-", "--name", "a", "--connect", address}, "oops").errors.substr(0, 11),
              "<stdin>:1:1");
    expectEnd(0, run("empty", {"# nothing"}));
    hub->interrupt();
    EXPECT_EQ(hub->readRest(), ""); // none of them has joined
}

TEST_F(RunTool, AFileThatCannotBeWrittenIsTheLastThingItDoes)
{
    listen({"--answer", "yes"});
    const Words lines = {"notify chat first 1", "request chat no > " + path("no/such/folder"),
                         "request chat never"};
    expectEnd(7, run("tool", lines), "tool.jobs:2: cannot write");
    EXPECT_EQ(listener->readLine(), "notify 1 first");
    listener->interrupt();
    EXPECT_EQ(listener->readRest(), "");
}

TEST_F(RunTool, TimeoutsAndInterruptsNameTheLineTheyEnd)
{
    startHub();
    const Words limit = {"--timeout", "2s"};
    // As member 0 it asks itself.
    expectEnd(8, run("asks", {"request chat a > " + path("out")}, limit), "asks.jobs:1: ");
    EXPECT_FALSE(std::filesystem::exists(path("out")));
    expectEnd(8, run("waits", {"notify chat a 1", "wait-notify chat"}, limit),
              "waits.jobs:2: after 2 s still at wait-notify");

    const Child stopped = start(run("stopped", {"wait-request chat", "respond chat never"}));
    EXPECT_EQ(stopped->readLine(), "JobWaitRequest: Listening to pipe: chat");
    stopped->interrupt();
    EXPECT_EQ(stopped->wait(), 130);
    EXPECT_THAT(stopped->readErrorRest(), testing::HasSubstr("stopped.jobs:1: interrupted"));
    EXPECT_EQ(stopped->readRest(), "");

    listen();
    expectEnd(8, run("lacks", {"", "wait-notify chat", "wait-notify other"}, limit),
              "lacks.jobs:3: after 2 s still waiting for " + address + " to open the pipe 'other'");
    aimAtNobody();
    expectEnd(3, run("alone", {"wait-notify chat"}, limit), "dm: not connected to " + address);
}

} // namespace
