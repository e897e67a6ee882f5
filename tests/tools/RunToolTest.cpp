#include "tools/HubFixture.h"

namespace {

class RunTool : public HubFixture
{
protected:
    /// The words that run a script of these lines under this name.
    Words run(const std::string& name, const std::string& lines, const Words& options = {}) const
    {
        return Words{"run", write(name + ".jobs", lines), "--name", name, "--connect", address} +
               options;
    }
};

TEST_F(RunTool, TwoScriptsTalkThroughAHub)
{
    startHub();
    std::string bytes(60'000, '\0');
    for (size_t at = 0; at < bytes.size(); ++at)
        bytes[at] = static_cast<char>(at * at >> 7);
    write("in", bytes);
    Child game = start(run("game", "wait-request assets\n"
                                   "respond assets \"the level\" < " +
                                       path("in") +
                                       "\n"
                                       "wait-notify-and-request assets built \"send it\" > " +
                                       path("back") + "\n"));
    expectEvents({"member 0 joined from 127.0.0.1", "member 0 \"game\" opened pipe \"assets\""});
    // What is sent last must have arrived when it ends.
    const Outcome build = dm(run("build", "request assets \"the source\" > " + path("out") +
                                              "\n"
                                              "notify assets built 7\n"
                                              "wait-request assets\n"
                                              "respond assets here < " +
                                              path("in") + "\n"));
    EXPECT_EQ(build.exitCode, 0) << build.errors;
    EXPECT_EQ(build.output, "JobWaitRequest: Listening to pipe: assets\n"
                            "JobRespond: Responding to pipe: assets\n");
    EXPECT_EQ(game->wait(), 0);
    EXPECT_EQ(game->readRest(), "JobWaitRequest: Listening to pipe: assets\n"
                                "JobRespond: Responding to pipe: assets\n"
                                "JobManager \"game\" Waiting for Notify \"built\"\n"
                                "JobManager \"game\" doing request: send it\n"
                                "JobManager \"game\" got response: here from pipe: assets \n");
    EXPECT_EQ(read("out"), bytes);
    EXPECT_EQ(read("back"), bytes);
}

TEST_F(RunTool, AScriptWithMistakesRunsNothing)
{
    startHub();
    const Outcome wrong = dm(run("wrong", "notify chat hello 1\n\n  request chat\nshout\n"));
    EXPECT_EQ(wrong.exitCode, 2);
    const std::string file = path("wrong.jobs");
    EXPECT_EQ(wrong.errors.substr(0, wrong.errors.find(": TEXT")), file + ":3:15");
    EXPECT_NE(wrong.errors.find("\n" + file + ":4:1: 'shout'"), std::string::npos) << wrong.errors;

    const Outcome missing =
        dm(run("missing", "notify chat hello 1\nrespond chat a < " + path("absent") + "\n"));
    EXPECT_EQ(missing.exitCode, 7);
    EXPECT_NE(missing.errors.find("absent"), std::string::npos) << missing.errors;
    EXPECT_EQ(dm({"run", path("nothing"), "--name", "a", "--connect", address}).exitCode, 7);
    EXPECT_EQ(dm({"run", "-", "--name", "a", "--connect", address}, "oops").errors.substr(0, 11),
              "<stdin>:1:1");
    EXPECT_EQ(dm(run("empty", "# nothing\n")).exitCode, 0);
    hub->interrupt();
    EXPECT_EQ(hub->readRest(), ""); // none of them has joined
}

TEST_F(RunTool, AFileThatCannotBeWrittenIsTheLastThingItDoes)
{
    listen({"--answer", "yes"});
    const Outcome outcome = dm(run("tool", "notify chat first 1\nrequest chat no > " +
                                               path("no/such/folder") + "\nrequest chat never\n"));
    EXPECT_EQ(outcome.exitCode, 7);
    EXPECT_NE(outcome.errors.find("tool.jobs:2: cannot write"), std::string::npos)
        << outcome.errors;
    EXPECT_EQ(listener->readLine(), "notify 1 first");
    listener->interrupt();
    EXPECT_EQ(listener->readRest(), "");
}

TEST_F(RunTool, TimeoutsAndInterruptsNameTheLineTheyEnd)
{
    startHub();
    const auto expectEnd = [&](const Words& words, int exitCode, const std::string& says) {
        const Outcome outcome = dm(words);
        EXPECT_EQ(outcome.exitCode, exitCode);
        EXPECT_NE(outcome.errors.find(says), std::string::npos) << outcome.errors;
    };
    // As member 0 it asks itself.
    expectEnd(run("asks", "request chat a > " + path("out") + "\n", {"--timeout", "2s"}), 8,
              "asks.jobs:1: ");
    EXPECT_FALSE(std::filesystem::exists(path("out")));
    expectEnd(run("waits", "notify chat a 1\nwait-notify chat\n", {"--timeout", "2s"}), 8,
              "waits.jobs:2: after 2 s still at wait-notify");

    Child stopped = start(run("stopped", "wait-request chat\nrespond chat never\n"));
    EXPECT_EQ(stopped->readLine(), "JobWaitRequest: Listening to pipe: chat");
    stopped->interrupt();
    EXPECT_EQ(stopped->wait(), 130);
    EXPECT_NE(stopped->readErrorRest().find("stopped.jobs:1: interrupted"), std::string::npos);
    EXPECT_EQ(stopped->readRest(), "");

    listen();
    expectEnd(run("lacks", "\nwait-notify chat\nwait-notify other\n", {"--timeout", "2s"}), 8,
              "lacks.jobs:3: after 2 s still waiting for " + address + " to open the pipe 'other'");
    address = GreetingProgram().address(); // its port is free again by now
    expectEnd(run("alone", "wait-notify chat\n", {"--timeout", "1500ms"}), 3,
              "dm: not connected to " + address);
}

} // namespace
