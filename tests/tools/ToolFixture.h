#pragma once

#include "support/ChildProcess.h"

#include <dm/comm.h>
#include <zul/Listener.h>
#include <zul/Packet.h>
#include <zul/Socket.h>

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <random>
#include <sstream>
#include <string>
#include <vector>

using Words = std::vector<std::string>;

inline Words operator+(Words first, const Words& second)
{
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

/// Runs the built command as a person or a script would.
class ToolFixture : public ::testing::Test
{
protected:
    struct Outcome
    {
        int exitCode = 0;
        std::string output;
        std::string errors;
    };

    ToolFixture()
    {
        std::random_device device;
        folder = std::filesystem::temp_directory_path() / ("dm-test-" + std::to_string(device()));
        std::filesystem::create_directory(folder);
    }

    ~ToolFixture() override
    {
        listener.reset();
        std::filesystem::remove_all(folder);
    }

    static Words command(const Words& words) { return Words{DM_TOOL_PATH} + words; }

    static Outcome dm(const Words& words, const std::string& input = "")
    {
        ChildProcess tool(command(words));
        tool.writeInput(input);
        tool.closeInput();
        return {tool.wait(), tool.readRest(), tool.readErrorRest()};
    }

    /// Starts `dm listen` on the pipe "chat" and learns its address.
    void listen(const Words& options = {}, const std::string& port = "0")
    {
        listener = std::make_unique<ChildProcess>(command(Words{"listen", port, "chat"} + options));
        const std::string line = listener->readErrorLine().value_or("");
        const std::string expected = "dm: listening on ";
        ASSERT_EQ(line.substr(0, expected.size()), expected);
        address = line.substr(expected.size());
    }

    Outcome call(const std::string& text, const Words& options = {}, const std::string& input = "")
    {
        return dm(Words{"call", address, "chat", text} + options, input);
    }

    std::string portOf(const std::string& text) const { return text.substr(text.rfind(':') + 1); }

    std::string path(const std::string& name) const { return (folder / name).string(); }

    std::string write(const std::string& name, const std::string& bytes) const
    {
        std::ofstream(path(name), std::ios::binary) << bytes;
        return path(name);
    }

    std::string read(const std::string& name) const
    {
        std::ifstream file(path(name), std::ios::binary);
        std::ostringstream bytes;
        bytes << file.rdbuf();
        return bytes.str();
    }

    size_t filesInFolder() const
    {
        const std::filesystem::directory_iterator entries(folder);
        return static_cast<size_t>(std::distance(begin(entries), end(entries)));
    }

    std::filesystem::path folder;
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
