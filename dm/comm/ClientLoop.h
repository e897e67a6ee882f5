/// The thread of a client manager: keeps one connection alive and opens the pipes over it.
///
/// The connection is down, pending or up. Down, it is tried every kReconnectSeconds: first the
/// redirect address, which is the one that was good last or that a server sent us to, then the
/// configured one. A redirect governs the one connection it causes: its Welcome makes the
/// configured address the good one again, and a drop forgets it.
#pragma once

#include "dm/comm/ManagerAddress.h"
#include "dm/comm/ManagerLoop.h"

#include <vector>

namespace dm {

class ClientLoop final : public ManagerLoop
{
public:
    explicit ClientLoop(NetCommunicationPipeManager& owner);

    void pass() override;
    void shutDown() override;
    bool hasSendsToDo() const override;

private:
    enum class Target
    {
        None,
        Redirect,
        Configured,
    };

    void receive();
    void dispatch(net::Packet& packet, uint32 packetSize);
    void onRedirect(const RedirectMessage& message);
    void onWelcome(const WelcomeMessage& message);
    void onLost();

    void connectIfDue();
    void attempt(Target first, const ManagerAddress::Snapshot& address);
    bool tryConnect(Target target, const Address& address);
    bool abandonIfAddressChanged(const Address& configured);
    void sendOpenPipes();
    uint32 timeoutMs() const;

    static constexpr zu::u64 kConnectionKey = 1;

    Connection connection;
    bool wasConnected = false;
    bool isWelcomed = false; // over the present connection
    bool closedByUs = false; // stop polling in this pass
    double lastConnectAttempt = -1000.0;
    Target pendingTarget = Target::None; // of the attempt under way
    Address pendingAddress;
    double nextOpenPipe = 0.0;                  // when the next OpenPipe is due
    ManagerAddress::Version addressVersion = 0; // as the pass under way found it
    std::vector<const char*> namesToOpen;
};

} // namespace dm
