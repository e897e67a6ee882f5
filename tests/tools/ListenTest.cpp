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
    listener = std::make_unique<ChildProcess>(
        command({"listen", "0", "chat", "--format", "json", "--count", "2"}));
    const auto next = [this] { return nlohmann::json::parse(listener->readLine().value_or("")); };
    const nlohmann::json listening = next();
    EXPECT_EQ(listening["event"], "listening");
    address = "127.0.0.1:" + std::to_string(listening["port"].get<int>());

    EXPECT_EQ(call("bytes \xff", {"--value", "9"}).exitCode, 0);
    EXPECT_EQ(
        next(),
        (nlohmann::json{
            {"event", "request"}, {"text", "bytes \xEF\xBF\xBD"}, {"value", 9}, {"size", 0}}));
    EXPECT_EQ(dm({"notify", address, "chat", "note", "--value", "4"}).exitCode, 0);
    EXPECT_EQ(next(), (nlohmann::json{{"event", "notify"}, {"text", "note"}, {"value", 4}}));
    EXPECT_EQ(listener->wait(), 0);
}

TEST_F(Listen, GivesTheCommandTextAndDataWithoutLettingThemRun)
{
    listen({"--exec", "echo \"$DM_PIPE $DM_REQUEST_VALUE $DM_REQUEST_TEXT\"; cat"});
    const std::string text = "$(touch " + path("proof") + "); `exit 9` \" '";
    const Outcome outcome =
        call(text, {"--value", "3", "--data", write("in", "data"), "--out", "-"});
    EXPECT_EQ(outcome.output, "chat 3 " + text + "\ndata");
    EXPECT_FALSE(std::filesystem::exists(path("proof")));
}

TEST_F(Listen, TellsTheAskerWhenACommandOrFileFails)
{
    listen({"--exec", "exit 5"});
    EXPECT_EQ(call("text").output, "error: exit code 5\n");

    write("answer", "bytes");
    listen({"--answer-file", path("answer")});
    EXPECT_EQ(call("text", {"--out", "-"}).output, "bytes");
    std::filesystem::remove(path("answer"));
    EXPECT_EQ(call("text").output.substr(0, 7), "error: ");
}

TEST_F(Listen, ATakenPortExitsWith3AndAMissingAnswerFileWith7)
{
    listen();
    const Outcome taken = dm({"listen", portOf(address), "chat"});
    EXPECT_EQ(taken.exitCode, 3);
    EXPECT_NE(taken.errors.find(portOf(address)), std::string::npos) << taken.errors;
    EXPECT_EQ(dm({"listen", "0", "chat", "--answer-file", path("missing")}).exitCode, 7);
}

TEST_F(Listen, CtrlCEndsItEvenWhileACommandRuns)
{
    // The command shows on standard error that it runs, and would go on for a quarter of an hour.
    listen({"--exec", "echo running >&2; exec sleep 900 2>&1"});
    ChildProcess asker(command({"call", address, "chat", "text", "--timeout", "60s"}));
    EXPECT_EQ(listener->readErrorLine(), "running");
    listener->interrupt();
    EXPECT_EQ(listener->wait(), 130);
    asker.interrupt();
    EXPECT_EQ(asker.wait(), 130);
}

} // namespace
