#pragma once

#include "support/ChildProcess.h"
#include "zul/FileFixture.h"

#include <dm/comm.h>
#include <zul/Listener.h>
#include <zul/Packet.h>
#include <zul/Socket.h>

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
    struct Outcome
    {
        int exitCode = 0;
        std::string output;
        std::string errors;
    };

    static Words command(const Words& words) { return Words{DM_TOOL_PATH} + words; }

    static Outcome dm(const Words& words, const std::string& input = "")
    {
        ChildProcess tool(command(words));
        tool.writeInput(input);
        tool.closeInput();
        return {tool.wait(), tool.readRest(), tool.readErrorRest()};
    }

    /// Starts a command that listens and learns its address.
    std::unique_ptr<ChildProcess> startListening(const Words& words)
    {
        auto started = std::make_unique<ChildProcess>(command(words));
        const std::string line = started->readErrorLine().value_or("");
        address = line.substr(line.rfind(' ') + 1);
        EXPECT_EQ(line, "dm: listening on " + address);
        return started;
    }

    /// Starts `dm listen` on the pipe "chat".
    void listen(const Words& options = {}, const std::string& port = "0")
    {
        listener = startListening(Words{"listen", port, "chat"} + options);
    }

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

    std::unique_ptr<ChildProcess> listener;
    std::string address;
};

/// A program that takes a connection and greets with the version it is told, but does no more.
class GreetingProgram
{
public:
    std::string address() const { return "127.0.0.1:" + std::to_string(listener.getPort()); }

    void greet(unsigned version)
    {
        constexpr zu::u32 kLongMs = 60 * 1000;
        const zu::WaitHandle handle = listener.getWaitHandle();
        ASSERT_EQ(zu::waitAny(&handle, 1, kLongMs), 0);
        client.reset(listener.pollConnect());
        ASSERT_NE(client, nullptr);
        net::Packet welcome(dm::kPipePacketId);
        welcome << 7 << version << 0u << "program";
        client->sendPacket(&welcome);
        ASSERT_TRUE(client->drain(kLongMs));
    }

private:
    net::Listener listener{0};
    std::unique_ptr<net::Socket> client;
};
