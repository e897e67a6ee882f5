// What a socket is made of. Apart from Socket.cpp because listeners make connected ones.
#pragma once

#include "zul/common/FrameDecoder.h"
#include "zul/common/NameLookup.h"
#include "zul/common/SendQueue.h"
#include "zul/common/Tcp.h"

#include <zul/Socket.h>

#include <chrono>
#include <memory>
#include <string>
#include <vector>

namespace net {

struct ZUL_NO_EXPORT Socket::State
{
    using Clock = std::chrono::steady_clock;

    enum class Phase
    {
        Closed,
        LookingUp,
        Connecting,
        Open
    };

    ~State() { closeHandle(); }

    // Connecting.
    bool connect(const char* host, u32 port);
    void continueLookup();
    void connectNextAddress();
    void continueConnecting();
    void open(tcp::Handle connected, const tcp::Address& address);

    // Sending.
    bool accepts(u32 ownBytes, u32 lentBytes) const;
    void failSending(const std::string& why);
    void enqueue(const tcp::Piece& own, const tcp::Piece& lent);
    void sendNow(const tcp::Piece& own, const tcp::Piece& lent);
    void flush() { sendNow({nullptr, 0}, {nullptr, 0}); }

    // Receiving.
    void update(bool readable, bool writable);
    void receive();
    bool receiveOnce(u32& inOutBudget);
    void closeWhenDrained();
    void trimWhenQuiet();

    void fail(const std::string& why);
    void failMalformed();
    void close();
    void closeHandle();

    Phase phase = Phase::Closed;
    tcp::Handle handle = tcp::kNoHandle;
    u32 serial = 0; // of the handle
    std::string reason;

    // While connecting.
    std::shared_ptr<const NameLookup> lookup;
    std::vector<tcp::Address> addresses; // to be tried, the next one last
    tcp::Address attempted;
    Clock::time_point deadline;        // of the whole attempt
    Clock::time_point addressDeadline; // of the present address

    // While open.
    tcp::Endpoint peer; // stays after the end
    SendQueue queue;
    FrameDecoder decoder;
    bool corked = false;
    bool blocked = false;    // the system took less than it was given
    bool lostSends = false;  // queued bytes went with the connection
    bool malformed = false;  // the last connection ended with that
    bool sendFailed = false; // nothing more can be sent; what the peer sent before is still read
    bool ended = false;      // nothing more will arrive
    Clock::time_point lastBulk;

    Packet packet{0}; // the one polled last
};

} // namespace net
