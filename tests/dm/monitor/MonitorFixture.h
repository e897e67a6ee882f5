/// A game with a monitor and the tools that watch it, with verbs. The test's thread is the game's.
#pragma once

#include "support/ScriptedPeer.h"
#include "support/WaitUntil.h"

#include <dm/monitor.h>
#include <zul/Socket.h>

#include <algorithm>
#include <functional>
#include <gtest/gtest.h>
#include <stdexcept>

namespace support {

/// A tool's end, used by one thread.
class MonitorTool
{
public:
    explicit MonitorTool(dm::u32 port)
    {
        socket.connect("127.0.0.1", port);
        require(waitUntil([&] {
            socket.update();
            return !socket.isPending(); // and by now perhaps turned away
        }));
    }

    void sendRequest(int request)
    {
        dm::writeMonitorRequest(toSend, request);
        socket.sendPacket(&toSend);
    }

    void sendData(const std::string& data)
    {
        require(dm::writeMonitorData(toSend, data.c_str()));
        socket.sendPacket(&toSend);
    }

    dm::u32 unsentBytes() const { return socket.pendingSendBytes(); }

    /// Gives what has arrived to `take`, until nothing more is there at once.
    template <typename Take>
    void receive(Take take)
    {
        socket.update();
        while (net::Packet* packet = socket.pollPacket(nullptr)) {
            const dm::MonitorMessage message = dm::readMonitorMessage(*packet);
            require(message.kind != dm::MonitorMessage::Kind::Malformed);
            take(message, *packet);
        }
    }

    /// Waits for the next packet, as "channel:text", "group:name=text" or "#id size".
    std::string next()
    {
        require(waitUntil([&] {
            receive([&](const dm::MonitorMessage& message, net::Packet& packet) {
                arrived.push_back(describe(message, packet));
            });
            return !arrived.empty() || !socket.isConnected();
        }));
        if (arrived.empty())
            return "closed";
        std::string first = arrived.front();
        arrived.erase(arrived.begin());
        return first;
    }

    bool isConnected()
    {
        receive([](auto&, auto&) {});
        return socket.isConnected();
    }

private:
    static void require(bool holds)
    {
        if (!holds)
            throw std::runtime_error("monitor tool: that took too long or was refused");
    }

    static std::string describe(const dm::MonitorMessage& message, net::Packet& packet)
    {
        using Kind = dm::MonitorMessage::Kind;
        if (message.kind == Kind::Text) {
            require(packet.getSize() == 4 + 4 + std::string(message.text).size() + 1);
            return std::to_string(message.channel) + ":" + message.text;
        }
        if (message.kind == Kind::InPlace)
            return std::to_string(message.group) + ":" + message.name + "=" + message.text;
        return "#" + std::to_string(packet.getID()) + " " + std::to_string(packet.getSize());
    }

    net::Socket socket;
    net::Packet toSend{0};
    std::vector<std::string> arrived;
};

class MonitorFixture : public testing::Test, public dm::DataParserCallback
{
protected:
    MonitorFixture()
    {
        dm::setDataParserCallback(this);
        dm::init(0);
    }

    ~MonitorFixture() override
    {
        dm::deinit();
        dm::setDataParserCallback(nullptr);
    }

    /// Connects a tool and waits until the game has taken it. It is the last one taken.
    std::unique_ptr<MonitorTool> attach()
    {
        auto tool = std::make_unique<MonitorTool>(dm::getMonitorPort());
        const std::string greeting = "hello " + std::to_string(++attached);
        tool->sendData(greeting);
        awaitData(greeting);
        return tool;
    }

    bool updateUntil(const std::function<bool()>& condition,
                     std::chrono::milliseconds limit = kLongLimit)
    {
        return waitUntil(
            [&] {
                dm::update();
                return condition();
            },
            limit);
    }

    /// Updates until the data has been parsed.
    void awaitData(const std::string& data)
    {
        ASSERT_TRUE(updateUntil([&] { return std::count(parsed.begin(), parsed.end(), data); }))
            << data;
    }

    void parseData(const char* data) override
    {
        parsed.emplace_back(data);
        if (onData && parsed.back().find("hello") != 0)
            onData(parsed.back());
    }

    std::vector<std::string> parsed;
    std::function<void(std::string)> onData;
    int attached = 0;
};

} // namespace support
