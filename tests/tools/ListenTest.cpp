#include "tools/ToolFixture.h"

namespace {

using Listen = ToolFixture;

TEST_F(Listen, PrintsOneLineAnEventWhateverItHolds)
{
    listen({"--count", "2", "--answer", "yes"});
    EXPECT_EQ(call("evil\n\x1b[2Jrequest 0 forged", {"--value", "7"}).output, "yes\n");
    EXPECT_EQ(call("more", {"--data", write("in", "12345")}).output, "yes\n");
    EXPECT_EQ(listener->readLine(), "request 7 evil\\n\\x1b[2Jrequest 0 forged");
    EXPECT_EQ(listener->readLine(), "request 0 more (5 bytes of data)");
    EXPECT_EQ(listener->wait(), 0);
}

TEST_F(Listen, PrintsOneJsonObjectAnEvent)
{
    listener = startListeningAsJson({"listen", "0", "chat", "--count", "2"});
    EXPECT_EQ(call("bytes \xff", {"--value", "9"}).exitCode, 0);
    EXPECT_EQ(nextJson(listener).dump(), R"({"event":"request","size":0,"text":"bytes )"
                                         "\xEF\xBF\xBD"
                                         R"(","value":9})");
    EXPECT_EQ(dm({"notify", address, "chat", "note", "--value", "4"}).exitCode, 0);
    EXPECT_EQ(nextJson(listener).dump(), R"({"event":"notify","text":"note","value":4})");
    EXPECT_EQ(listener->wait(), 0);
}

TEST_F(Listen, GivesTheCommandTextAndDataWithoutLettingThemRun)
{
    listen({"--exec", "echo \"$DM_PIPE $DM_REQUEST_VALUE $DM_REQUEST_TEXT\"; cat"});
    const std::string text = "$(touch " + path("proof") + "); `exit 9` \" '";
    const Words options = {"--value", "3", "--data", write("in", "data"), "--out", "-"};
    EXPECT_EQ(call(text, options).output, "chat 3 " + text + "\ndata");
    EXPECT_FALSE(std::filesystem::exists(path("proof")));
}

TEST_F(Listen, TellsTheAskerWhenACommandOrFileFails)
{
    listen({"--exec", "exit 5"});
    EXPECT_EQ(call("text").output, "error: exit code 5\n");

    listen({"--answer-file", write("answer", "bytes")});
    EXPECT_EQ(call("text", {"--out", "-"}).output, "bytes");
    std::filesystem::remove(path("answer"));
    EXPECT_EQ(call("text").output.substr(0, 7), "error: ");

    expectEnd(3, {"listen", portOf(address), "chat"}, portOf(address));
    expectEnd(7, {"listen", "0", "chat", "--answer-file", path("answer")});
}

TEST_F(Listen, CtrlCEndsItEvenWhileACommandRuns)
{
    // The command shows on standard error that it runs, and would go on for a quarter of an hour.
    listen({"--exec", "echo running >&2; exec sleep 900 2>&1"});
    const Child asker = start({"call", address, "chat", "text", "--timeout", "60s"});
    EXPECT_EQ(listener->readErrorLine(), "running");
    listener->interrupt();
    EXPECT_EQ(listener->wait(), 130);
    asker->interrupt();
    EXPECT_EQ(asker->wait(), 130);
}

} // namespace
