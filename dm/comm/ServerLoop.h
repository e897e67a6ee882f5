/// The thread of a server manager: accepts clients and serves their connections.
#pragma once

#include "dm/comm/ManagerAddress.h"
#include "dm/comm/ManagerLoop.h"

#include <zul/Listener.h>

#include <memory>
#include <unordered_map>

namespace dm {

class ServerLoop final : public ManagerLoop
{
public:
    ServerLoop(NetCommunicationPipeManager& owner, int port);

    void pass() override;
    void shutDown() override;
    bool hasSendsToDo() const override;

    bool isListening() const { return listener.isListening(); }
    zu::InplaceString<128> listenFailure() const { return listener.getFailure(); }
    uint32 port() const { return listener.getPort(); }

private:
    static constexpr zu::u64 kListenerKey = 0;

    bool acceptOne();
    void serve(Connection& connection, const Ready& readiness);
    void dispatch(Connection& connection, net::Packet& packet, uint32 packetSize);
    void onOpenPipe(Connection& connection, const OpenPipeMessage& message);
    void drop(Connection& connection);
    void dropSentOn(const Connection& newest);
    void dropBroken();
    void trimIfDue();

    net::Listener listener;
    std::unordered_map<zu::u64, std::unique_ptr<Connection>> connections;
    zu::u64 nextKey = kListenerKey + 1;
    uint32 nextConnectionId = 0;
    double lastTrim = 0.0;
    ManagerAddress::Version addressVersion = 0; // as the pass under way found it
};

} // namespace dm
