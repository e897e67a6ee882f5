/// One TCP connection that carries packets.
///
/// Never blocks, except in drain and for a moment in the destructor. Its owner calls update
/// whenever the wait handle is ready, and at least once a second.
///
///     net::Socket socket;
///     socket.connect("127.0.0.1", 3500);
///     while (socket.isPending() || socket.isConnected())
///     {
///         zu::WaitHandle handle = socket.getWaitHandle();
///         zu::waitAny(&handle, 1, 100);
///         socket.update();
///         while (net::Packet* packet = socket.pollPacket(nullptr))
///             handlePacket(*packet);
///     }
///
/// Threads: one at a time; a socket belongs to the thread that updates it.
/// Errors: nothing throws. A connection that fails, is closed by the peer or carries anything but
/// well-formed packets is closed; closeReason tells why.
/// Limits: below. Overload: a peer that does not read makes pendingSendBytes grow; whoever sends
/// in bulk holds back before the limit is reached.
/// Order: packets arrive in the order they were sent, lent bytes or not, corked or not.
#pragma once

#include <zul/InplaceString.h>
#include <zul/Packet.h>
#include <zul/WaitHandle.h>
#include <zul/export.h>

#include <memory>

namespace net {

/// What one update reads at most, so that one fast sender cannot hold its reader for ever.
inline constexpr u32 kMaxReceiveBytesPerUpdate = 1024 * 1024;

/// How long an attempt to connect may stay pending, the look-up of a name included.
inline constexpr u32 kConnectTimeoutMs = 5000;

/// How much a corked socket gathers before it sends.
inline constexpr u32 kCorkedBytes = 64 * 1024;

/// How many unsent bytes a socket keeps; sendPacket refuses what would exceed them.
inline constexpr u32 kMaxPendingSendBytes = 64 * 1024 * 1024;

/// How long the destructor tries to hand unsent bytes to the system.
inline constexpr u32 kFinalFlushMs = 200;

class ZUL_API Socket
{
public:
    Socket();

    /// Sends what is left, for kFinalFlushMs at most, and ends the stream in order. Waits for
    /// nothing once the peer has ended its stream.
    ~Socket();

    Socket(const Socket&) = delete;
    Socket& operator=(const Socket&) = delete;

    /// Starts connecting; a connection it had is closed first.
    ///
    ///   host   numeric address, "localhost" or a name, which is looked up on a thread of its own.
    ///
    /// Returns whether an attempt was started; isPending until it succeeded or failed.
    bool connect(const char* host, u32 port);

    /// True until the connection is lost and every packet received before was polled.
    bool isConnected() const;
    bool isPending() const;

    /// Closes at once; unsent and unread packets are lost. The packet polled last stays valid. The
    /// socket can connect again.
    void close();

    /// Goes on connecting, sends what is queued and receives what arrived.
    ///
    /// The second form is for owners that know what is ready, as from WaitSet::wait: it saves the
    /// system calls that would find nothing. Receives only when told readable, tries a backlog only
    /// when told writable; an attempt to connect goes on either way.
    void update();
    void update(bool readable, bool writable);

    /// Sends the packet, at once unless corked; what the system does not take now is copied and
    /// goes out with later updates.
    ///
    /// Returns false, with nothing queued, when not connected, when the payload exceeds
    /// kMaxPayloadBytes, or when kMaxPendingSendBytes would be exceeded.
    bool sendPacket(const Packet* packet);

    /// Closes the connection on longer payloads from the peer than this, as soon as one is
    /// announced; for peers that have no business with long ones. At most kMaxPayloadBytes, which
    /// it is at first. Stays through close and connect.
    void setMaxReceivedPayload(u32 bytes);

    /// While corked, small packets gather and leave together: by flush, by update, by taking the
    /// cork out, or when kCorkedBytes are exceeded. Stays through close and connect.
    void setCorked(bool corked);

    /// Tries to send all that is queued. Never waits.
    void flush();

    /// Flushes, waiting for the peer at most timeoutMs. Returns whether all was sent.
    bool drain(u32 timeoutMs);

    u32 pendingSendBytes() const;
    bool hasSendsToDo() const { return pendingSendBytes() != 0; }

    /// Whether the last connection ended before all that was sent had been handed to the system.
    bool hasLostSends() const;

    /// Whether the last connection ended because the peer sent something that is not a packet, as
    /// programs of other protocols do.
    bool gotMalformed() const;

    /// Whether pollPacket would give a packet.
    bool hasPacket() const;

    /// Gives the next packet that arrived whole, or null.
    ///
    ///   outSize   receives its payload's size in bytes; null if not wanted.
    ///
    /// Owned by the socket; valid, with all texts and views taken from it, until the next
    /// pollPacket or the destructor, update, connect and close notwithstanding.
    Packet* pollPacket(u32* outSize);

    /// The peer's numeric address; "" before the first connection. Stays after a close.
    zu::InplaceString<128> getConnectedIP() const;
    u32 getConnectedPort() const;

    /// This end's numeric address and port; "" and 0 when not connected.
    zu::InplaceString<128> getLocalIP() const;
    u32 getLocalPort() const;

    /// Why the last connection or attempt ended, for logs; "" if it did not. Valid until the next
    /// connect or the destructor.
    const char* closeReason() const;

    /// For the next wait: with interest in writing while connecting or while bytes are unsent. Not
    /// valid when closed and while a name is looked up.
    zu::WaitHandle getWaitHandle() const;

private:
    friend class Listener;

    struct State;
    explicit Socket(std::unique_ptr<State> state);

    std::unique_ptr<State> impl;
};

} // namespace net
