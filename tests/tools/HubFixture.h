#pragma once

#include "tools/ToolFixture.h"

/// A hub in a process of its own, and members in theirs.
class HubFixture : public ToolFixture
{
protected:
    /// Starts `dm hub`.
    void startHub(const Words& options = {}, const std::string& port = "0")
    {
        hub = startListening(Words{"hub", port} + options);
    }

    /// Starts a `dm listen` that is the hub's next member when this returns.
    Child join(const std::string& pipe, const Words& options = {})
    {
        Child member = start(Words{"listen", "--hub", address, pipe} + options);
        std::string line = member->readErrorLine().value_or("");
        if (line.find(" yet") != line.npos) // a busy machine took its time
            line = member->readErrorLine().value_or("");
        EXPECT_EQ(line, "dm: member of the hub at " + address);
        return member;
    }

    void expectEvents(const Words& lines)
    {
        for (const std::string& line : lines)
            EXPECT_EQ(hub->readLine(), line);
    }

    Child hub;
};
