#include "support/PipeFixture.h"
#include "tools/ToolFixture.h"

namespace {

using CommandLine = ToolFixture;
using Call = ToolFixture;
using Notify = ToolFixture;

TEST_F(CommandLine, MistakesExitWith2AndAreNamedOnStandardError)
{
    const std::vector<std::pair<Words, const char*>> mistakes = {
        {{}, "dm: a command is missing: `dm --help`"},
        {{"shout", "a"}, "dm: there is no command 'shout': `dm --help`"},
        {{"pipes"}, "--version is required: `dm pipes --help`"},
        {{"fs", "127.0.0.1:1", "shout"}, "no command 'shout': `dm fs --help`"},
        {{"call", "127.0.0.1:1", "chat"}, "TEXT is required"},
        {{"call", "127.0.0.1", "chat", "text"}, "'127.0.0.1' is no address"},
        {{"call", "127.0.0.1:1", std::string(1025, 'p'), "text"}, "PIPE: must have 1 to 1024"},
        {{"call", "127.0.0.1:1", "chat", ""}, "TEXT is empty"},
        {{"call", "127.0.0.1:1", "chat", "text", "--value", "-1"}, "--value = -1: that is no"},
        {{"call", "127.0.0.1:1", "chat", "text", "--timeout", "5"}, "'5' is no duration"},
        {{"call", "127.0.0.1:1", "a", "b", "--format", "json", "--out", "-"}, "choose a file"},
        {{"listen", "--hub", "127.0.0.1:1"}, "PIPE is missing"},
        {{"listen", "0", "chat", "--answer", "a", "--exec", "b"}, "at most 1"},
    };
    for (const auto& [words, says] : mistakes)
        EXPECT_EQ(expectEnd(2, words, says).output, "");
}

TEST_F(Call, RoundTripsDataOfAnySizeAndContentThroughFiles)
{
    listen({"--exec", "cat"});
    for (const size_t size : {size_t{0}, size_t{1}, size_t{65536}, size_t{5'000'001}}) {
        const std::string in = write("in", support::someBytes(size));
        EXPECT_EQ(call("echo", {"--data", in, "--out", path("out")}).output, "ok\n");
        EXPECT_TRUE(read("out") == read("in")) << size;
    }
    EXPECT_EQ(filesInFolder(), 2u); // no temporary stays

    const std::string bytes = support::someBytes(300'000);
    EXPECT_TRUE(call("echo", {"--data", "-", "--out", "-"}, bytes).output == bytes);
}

TEST_F(Call, PrintsOneJsonObject)
{
    listen({"--exec", "printf 'a\\0\\377b'"});
    auto answer = nlohmann::json::parse(call("text", {"--format", "json"}).output);
    EXPECT_EQ(answer["text"], "ok");
    EXPECT_EQ(answer["size"], 4);
    EXPECT_EQ(answer["data"], "YQD/Yg==");
    answer = nlohmann::json::parse(call("text", {"--format", "json", "--out", path("out")}).output);
    EXPECT_EQ(answer["out"], path("out"));
    EXPECT_FALSE(answer.contains("data"));

    listen({"--exec", "head -c 2000000 /dev/zero"});
    const Outcome tooMuch = call("text", {"--format", "json"});
    EXPECT_EQ(tooMuch.exitCode, 7);
    EXPECT_EQ(tooMuch.output, "");
}

TEST_F(Call, FileErrorsExitWith7BeforeAnythingIsAsked)
{
    listen();
    for (const Words& options :
         {Words{"--data", path("missing")}, Words{"--data", folder.string()},
          Words{"--out", folder.string()}, Words{"--out", path("no/such/folder")}})
        expectEnd(7, Words{"call", address, "chat", "text"} + options, options[1]);
    listener->interrupt();
    EXPECT_EQ(listener->readRest(), "");
}

TEST_F(Call, OfWhatIsNotThereExitsWith3Or8AndLeavesTheOldFile)
{
    write("out", "old");
    const Words wait = {"text", "--timeout", "500ms", "--out", path("out")};
    aimAtNobody();
    expectEnd(3, Words{"call", address, "chat"} + wait, address);
    listen();
    expectEnd(8, Words{"call", address, "no-such-pipe"} + wait, "no-such-pipe");
    listener->pause();
    expectEnd(8, Words{"call", address, "chat"} + wait);
    EXPECT_EQ(read("out"), "old");
    EXPECT_EQ(filesInFolder(), 1u);
}

/// A call to a program that greets and then does no more.
class GreetedCall : public ToolFixture
{
protected:
    void startCall(const Words& options, unsigned version = 2)
    {
        program.emplace();
        aimAt(program->port());
        tool = start(Words{"call", address, "chat", "text"} + options);
        peer.emplace(program->accept());
        peer->send(support::welcome(7, version));
        if (version == 2) // from here on the tool waits for an answer
            peer->expect(support::WireMessage::OpenPipe);
    }

    void endProgram()
    {
        peer.reset();
        program.reset();
    }

    std::optional<support::ScriptedServer> program;
    std::optional<support::ScriptedPeer> peer;
    Child tool;
};

TEST_F(GreetedCall, ToAnotherProtocolVersionExitsWith5)
{
    startCall({"--timeout", "60s"}, 3);
    EXPECT_EQ(tool->wait(), 5);
    EXPECT_THAT(tool->readErrorRest(), testing::HasSubstr("version 3"));
}

TEST_F(GreetedCall, ExitsWith4UnlessTheProgramComesBackInTime)
{
    startCall({"--timeout", "2s"});
    endProgram();
    EXPECT_EQ(tool->wait(), 4);

    startCall({"--timeout", "60s"});
    endProgram();
    EXPECT_THAT(tool->readErrorLine().value_or(""), testing::HasSubstr("lost the connection"));
    listen({"--answer", "back again"}, portOf(address));
    EXPECT_EQ(tool->readLine(), "back again");
    EXPECT_EQ(tool->wait(), 0);
}

TEST_F(GreetedCall, ExitsWith130AndLeavesNoFileOnCtrlC)
{
    startCall({"--timeout", "60s", "--out", path("out")});
    tool->interrupt();
    EXPECT_EQ(tool->wait(), 130);
    EXPECT_EQ(filesInFolder(), 0u);
}

TEST_F(Notify, EndsOnlyWhenTheNotificationIsOut)
{
    listen({"--count", "20"});
    for (int value = 1; value <= 20; ++value) {
        expectEnd(0, {"notify", address, "chat", "note", "--value", std::to_string(value)});
        EXPECT_EQ(listener->readLine(), "notify " + std::to_string(value) + " note");
    }
    EXPECT_EQ(listener->wait(), 0);
}

} // namespace
