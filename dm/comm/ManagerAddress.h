/// Where a manager connects or listens, and where it redirects to.
///
/// Threads: any. The manager's pass changes the redirect address by the operations named after what
/// happened; each takes the version that the pass saw at its start, and does nothing when
/// setRedirect was called since: the program's word is newer than the pass's.
#pragma once

#include "dm/common/LockOrder.h"

#include <dm/comm.h>

#include <atomic>
#include <string>

namespace dm {

struct Address
{
    std::string host;
    uint32 port = 0;

    bool operator==(const Address&) const = default;
};

class ManagerAddress
{
public:
    using Version = uint32;

    ManagerAddress(const char* host, uint32 port)
        : configured{host, port}
    {
    }

    struct Snapshot
    {
        Address configured;
        Address redirect;
        Version version = 0;
    };
    Snapshot read() const;
    Version version() const { return redirectsSet.load(std::memory_order_acquire); }

    void setConfigured(const char* host, uint32 port);

    /// A server sends its next client there; a client tries it first.
    void setRedirect(const char* host, uint32 port);

    /// Server: if a redirect is due, hands it out, once. The address itself stays.
    bool takeRedirect(Address& address);

    /// Client: a redirect has arrived, for the next connection.
    void redirectReceived(const char* host, uint32 port, Version version);

    /// Client: welcomed. The configured address is remembered as the good one, so a redirect
    /// governs only the connection it caused.
    void rememberConfigured(Version version);

    /// A connection dropped: forgets the redirect address. On a client one that has just been
    /// received stays, on a server the mark stays, so the next client is sent to "".
    void forgetRedirect(Version version);
    void forgetRedirectUnlessPending(Version version);

    /// Client: the attempt that a received redirect caused is under way.
    void redirectFollowed(Version version);

private:
    mutable LeafMutex lock;

    // Under lock.
    Address configured;
    Address redirect;
    bool redirectPending = false;
    std::atomic<Version> redirectsSet{0}; // read without it
};

} // namespace dm
