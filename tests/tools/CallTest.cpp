#include "tools/ToolFixture.h"

namespace {

using CommandLine = ToolFixture;
using Call = ToolFixture;
using Notify = ToolFixture;

std::string binary(size_t size)
{
    std::string bytes(size, '\0');
    for (size_t at = 0; at < size; at += 2) // every other byte stays zero
        bytes[at] = static_cast<char>(at * at >> 7);
    return bytes;
}

TEST_F(CommandLine, MistakesExitWith2AndAreNamedOnStandardError)
{
    const std::vector<std::pair<Words, const char*>> mistakes = {
        {{}, "dm: a command is missing: `dm --help`"},
        {{"shout", "a"}, "dm: there is no command 'shout': `dm --help`"},
        {{"pipes"}, "--version is required: `dm pipes --help`"},
        {{"fs", "127.0.0.1:1", "shout"}, "no command 'shout': `dm fs --help`"},
        {{"call", "127.0.0.1:1", "chat"}, "TEXT is required"},
        {{"call", "127.0.0.1", "chat", "text"}, "'127.0.0.1' is no address"},
        {{"call", "127.0.0.1:0", "chat", "text"}, "1 to 65535"},
        {{"call", "127.0.0.1:1", std::string(1025, 'p'), "text"}, "PIPE: must have 1 to 1024"},
        {{"call", "127.0.0.1:1", "chat", ""}, "TEXT is empty"},
        {{"call", "127.0.0.1:1", "chat", "text", "--value", "-1"}, "--value = -1: that is no"},
        {{"call", "127.0.0.1:1", "chat", "text", "--timeout", "5"}, "'5' is no duration"},
        {{"call", "127.0.0.1:1", "a", "b", "--format", "json", "--out", "-"}, "choose a file"},
        {{"listen", "65536", "chat"}, "'65536' is no port"},
        {{"listen", "--hub", "127.0.0.1:1"}, "PIPE is missing"},
        {{"listen", "0", "chat", "--answer", "a", "--exec", "b"}, "at most 1"},
    };
    for (const auto& [words, says] : mistakes) {
        SCOPED_TRACE(::testing::PrintToString(words));
        const Outcome outcome = dm(words);
        EXPECT_EQ(outcome.exitCode, 2);
        EXPECT_EQ(outcome.output, "");
        EXPECT_NE(outcome.errors.find(says), std::string::npos) << outcome.errors;
    }
}

TEST_F(CommandLine, TellsVersionsAndHelpOnStandardOutput)
{
    EXPECT_EQ(dm({"--version"}).output.substr(0, 3), "dm ");
    EXPECT_EQ(dm({"pipes", "--version"}).output.substr(0, 16), "pipe protocol 2\n");
    const Outcome help = dm({"fs", "ls", "--help"}); // without ADDRESS
    EXPECT_EQ(help.exitCode, 0);
    EXPECT_EQ(help.output.substr(0, 15), "Lists a folder.");
    EXPECT_EQ(dm({"call", "nowhere", "--version"}).output, dm({"--version"}).output);
}

TEST_F(Call, RoundTripsDataOfAnySizeAndContentThroughFiles)
{
    listen({"--exec", "cat"});
    for (const size_t size : {size_t{0}, size_t{1}, size_t{65536}, size_t{5'000'001}}) {
        const std::string in = write("in", binary(size));
        const Outcome outcome = call("echo", {"--data", in, "--out", path("out")});
        EXPECT_EQ(outcome.exitCode, 0) << outcome.errors;
        EXPECT_EQ(outcome.output, "ok\n");
        EXPECT_EQ(read("out"), read("in"));
    }
    EXPECT_EQ(filesInFolder(), 2u); // no temporary stays

    const std::string bytes = binary(300'000);
    EXPECT_EQ(call("echo", {"--data", "-", "--out", "-"}, bytes).output, bytes);
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
    {
        const Outcome outcome = call("text", options);
        EXPECT_EQ(outcome.exitCode, 7) << outcome.errors;
        EXPECT_NE(outcome.errors.find(options[1]), std::string::npos) << outcome.errors;
    }
    listener->interrupt();
    EXPECT_EQ(listener->readRest(), "");
}

TEST_F(Call, NothingListeningExitsWith3)
{
    address = GreetingProgram().address(); // its port is free again by now
    const Outcome outcome = call("text", {"--timeout", "300ms", "--out", path("out")});
    EXPECT_EQ(outcome.exitCode, 3);
    EXPECT_NE(outcome.errors.find(address), std::string::npos) << outcome.errors;
    EXPECT_EQ(filesInFolder(), 0u);
}

TEST_F(Call, AStoppedProgramOrAbsentPipeExitsWith8AndLeavesTheOldFile)
{
    listen();
    write("out", "old");
    const Words wait = {"text", "--timeout", "500ms", "--out", path("out")};
    const Outcome absent = dm(Words{"call", address, "no-such-pipe"} + wait);
    EXPECT_EQ(absent.exitCode, 8);
    EXPECT_NE(absent.errors.find("no-such-pipe"), std::string::npos) << absent.errors;
    listener->pause();
    EXPECT_EQ(dm(Words{"call", address, "chat"} + wait).exitCode, 8);
    EXPECT_EQ(read("out"), "old");
    EXPECT_EQ(filesInFolder(), 1u);
}

/// A call to a program that greets and then does no more.
class GreetedCall : public ToolFixture
{
protected:
    void start(const Words& options, unsigned version = 2)
    {
        address = program->address();
        tool = std::make_unique<ChildProcess>(
            command(Words{"call", address, "chat", "text"} + options));
        program->greet(version); // from here on the tool waits for an answer
    }

    std::unique_ptr<GreetingProgram> program = std::make_unique<GreetingProgram>();
    std::unique_ptr<ChildProcess> tool;
};

TEST_F(GreetedCall, ToAnotherProtocolVersionExitsWith5)
{
    start({"--timeout", "60s"}, 3);
    EXPECT_EQ(tool->wait(), 5);
    const std::string errors = tool->readErrorRest();
    EXPECT_NE(errors.find("version 3"), std::string::npos) << errors;
}

TEST_F(GreetedCall, ExitsWith4WhenALostConnectionDoesNotComeBack)
{
    start({"--timeout", "2s"});
    program.reset();
    EXPECT_EQ(tool->wait(), 4);
}

TEST_F(GreetedCall, IsAnsweredByAProgramThatComesBack)
{
    start({"--timeout", "60s"});
    program.reset();
    EXPECT_NE(tool->readErrorLine().value_or("").find("lost the connection"), std::string::npos);
    listen({"--answer", "back again"}, portOf(address));
    EXPECT_EQ(tool->readLine(), "back again");
    EXPECT_EQ(tool->wait(), 0);
}

TEST_F(GreetedCall, ExitsWith130AndLeavesNoFileOnCtrlC)
{
    start({"--timeout", "60s", "--out", path("out")});
    tool->interrupt();
    EXPECT_EQ(tool->wait(), 130);
    EXPECT_EQ(filesInFolder(), 0u);
}

TEST_F(Notify, EndsOnlyWhenTheNotificationIsOut)
{
    listen({"--count", "20"});
    for (int value = 1; value <= 20; ++value) {
        const Outcome outcome =
            dm({"notify", address, "chat", "note", "--value", std::to_string(value)});
        EXPECT_EQ(outcome.exitCode, 0) << outcome.errors;
        EXPECT_EQ(listener->readLine(), "notify " + std::to_string(value) + " note");
    }
    EXPECT_EQ(listener->wait(), 0);
}

} // namespace
