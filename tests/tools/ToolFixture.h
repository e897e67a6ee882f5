#pragma once

#include "support/ChildProcess.h"
#include "support/ScriptedPeer.h"
#include "zul/FileFixture.h"

#include <memory>
#include <nlohmann/json.hpp>
#include <optional>

using Words = std::vector<std::string>;

inline Words operator+(Words first, const Words& second)
{
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

/// Runs the built command as a person or a script would.
class ToolFixture : public FileFixture
{
protected:
    using Child = std::unique_ptr<ChildProcess>;

    struct Outcome
    {
        int exitCode = 0;
        std::string output;
        std::string errors;
    };

    static Words command(const Words& words) { return Words{DM_TOOL_PATH} + words; }

    static Child start(const Words& words)
    {
        return std::make_unique<ChildProcess>(command(words));
    }

    static Outcome dm(const Words& words, const std::string& input = "")
    {
        ChildProcess tool(command(words));
        tool.writeInput(input);
        tool.closeInput();
        return {tool.wait(), tool.readRest(), tool.readErrorRest()};
    }

    /// Runs a command that must end with this exit code and have this in what it says of it.
    static Outcome expectEnd(int exitCode, const Words& words, const std::string& says = "")
    {
        Outcome outcome = dm(words);
        EXPECT_EQ(outcome.exitCode, exitCode) << testing::PrintToString(words) << outcome.errors;
        EXPECT_THAT(outcome.errors, testing::HasSubstr(says)) << testing::PrintToString(words);
        return outcome;
    }

    /// Starts a command that listens and learns its address.
    Child startListening(const Words& words)
    {
        Child started = start(words);
        const std::string line = started->readErrorLine().value_or("");
        address = line.substr(line.rfind(' ') + 1);
        EXPECT_EQ(line, "dm: listening on " + address);
        return started;
    }

    /// The same for a command that prints JSON.
    Child startListeningAsJson(const Words& words)
    {
        Child started = start(words + Words{"--format", "json"});
        const nlohmann::json listening = nextJson(started);
        EXPECT_EQ(listening["event"], "listening");
        aimAt(listening["port"]);
        return started;
    }

    /// Starts a game with a debug monitor and learns its address.
    Child startGame(const std::string& port = "0")
    {
        auto started = std::make_unique<ChildProcess>(Words{DM_WATCHED_GAME_PATH, port});
        const std::string line = started->readLine().value_or("");
        address = line.substr(line.rfind(' ') + 1);
        EXPECT_EQ(line, "playing on " + address);
        return started;
    }

    static nlohmann::json nextJson(const Child& tool)
    {
        return nlohmann::json::parse(tool->readLine().value_or(""));
    }

    /// Reads a stream's lines until one has all the parts: that one.
    using NextLine = std::optional<std::string> (ChildProcess::*)();
    static std::string await(ChildProcess& tool, const Words& parts,
                             NextLine next = &ChildProcess::readLine)
    {
        while (const auto line = (tool.*next)())
            if (hasAll(*line, parts))
                return *line;
        ADD_FAILURE() << "no line with " << testing::PrintToString(parts);
        return "";
    }

    static bool hasAll(const std::string& line, const Words& parts)
    {
        return std::all_of(parts.begin(), parts.end(), [&](const std::string& part) {
            return line.find(part) != std::string::npos;
        });
    }

    /// Starts `dm listen` on the pipe "chat".
    void listen(const Words& options = {}, const std::string& port = "0")
    {
        listener = startListening(Words{"listen", port, "chat"} + options);
    }

    void aimAt(unsigned port) { address = "127.0.0.1:" + std::to_string(port); }
    void aimAtNobody() { aimAt(support::unusedPort()); }

    Outcome call(const std::string& text, const Words& options = {}, const std::string& input = "")
    {
        return dm(Words{"call", address, "chat", text} + options, input);
    }

    std::string portOf(const std::string& text) const { return text.substr(text.rfind(':') + 1); }

    std::string path(const std::string& name) const { return at(name); }
    std::string write(const std::string& name, const std::string& bytes) const
    {
        return make(name, bytes);
    }
    std::string read(const std::string& name) const { return contentOf(name); }
    size_t filesInFolder() const { return names().size(); }

    Child listener;
    std::string address;
};
