/// Waiting for thousands of sockets: what to watch is registered once, each wait tells what is
/// ready.
///
///     net::WaitSet set;
///     set.add(listener.getWaitHandle(), zu::Interest::Read, 0);
///     net::WaitSet::Ready ready[64];
///     for (;;)
///     {
///         net::u32 count = set.wait(ready, 64, 100);
///         for (net::u32 index = 0; index < count; index++)
///             serve(ready[index]);
///     }
///
/// Readiness is reported as long as it lasts, not once. Something that is ready and left alone
/// ends every wait at once.
///
/// Waiting adapts: after a wait that something ended, the next one polls and yields the core for
/// the time of zu::YieldBudget before it sleeps in the kernel; after a time-out it sleeps at once.
///
/// Threads: one thread owns the set and calls everything; wake and wakeRequested are for all.
/// Ownership: none. What is watched leaves the set by itself when its owner closes it; the number
/// in a WaitHandle may then come back for something else, so tell handles apart by serial too, and
/// add again whatever was opened again.
/// Errors: the constructor throws zu::Exception when the system has no descriptor left.
#pragma once

#include <zul/Packet.h>
#include <zul/WaitHandle.h>
#include <zul/export.h>

#include <atomic>
#include <memory>

namespace net {

class Poller;
class Signal;
class Socket;

class ZUL_API WaitSet
{
public:
    struct Ready
    {
        u64 key;       ///< as given to add
        bool readable; ///< also: closed by the peer, or broken; reading tells
        bool writable;
    };

    WaitSet();
    ~WaitSet();

    WaitSet(const WaitSet&) = delete;
    WaitSet& operator=(const WaitSet&) = delete;

    /// Watches the handle. The interest counts, not the one in the handle. A handle that is in the
    /// set already is changed; one that is not valid is refused with false.
    ///
    ///   key   anything but ~0.
    ///
    /// A PollableEvent may be watched too; it stays ready until it is taken.
    bool add(const zu::WaitHandle& handle, zu::Interest interest, u64 key);

    /// Changes interest and key. A handle that is not in the set is added.
    bool change(const zu::WaitHandle& handle, zu::Interest interest, u64 key);

    /// Forgets the handle. One that is not in the set does no harm.
    void remove(const zu::WaitHandle& handle);

    /// The socket that is likeliest to be ready next, with its key.
    struct Hint
    {
        Socket* socket = nullptr;
        u64 key = 0;
    };

    /// Waits until something is ready or wake is called, at most timeoutMs.
    ///
    ///   out      receives what is ready, capacity of them at most, the rest with the next waits.
    ///   likely   received from directly while yielding, which is cheaper than asking the system
    ///            what is ready. When that gave a packet, or the connection ended, it is reported
    ///            with readable and writable false: only polling is left to do.
    ///
    /// Returns how many; 0 after a time-out or a wake-up. Returns at once when wake was called
    /// since the last return, possibly without a look at the handles, but never twice in a row.
    u32 wait(Ready* out, u32 capacity, u32 timeoutMs, const Hint& likely);
    u32 wait(Ready* out, u32 capacity, u32 timeoutMs)
    {
        return wait(out, capacity, timeoutMs, Hint());
    }

    /// Ends the present wait, or the next if none is going on. A system call only when the owner
    /// really sleeps: call it as often as there is something to do.
    void wake();

    /// Whether the next wait would return at once because of a wake.
    bool wakeRequested() const { return wakePending.load(std::memory_order_acquire); }

private:
    bool takeWake();
    u32 poll(Ready* out, u32 capacity, u32 timeoutMs, const Hint& likely);
    u32 look(Ready* out, u32 capacity, const Hint& likely, u32 looksPerCollect);
    u32 sleep(Ready* out, u32 capacity, u32 timeoutMs);
    u32 collect(Ready* out, u32 capacity, u32 timeoutMs);

    std::unique_ptr<Poller> poller;
    std::unique_ptr<Signal> signal;

    // Any thread. The owner announces its sleep and then looks for a wake; a waker leaves its wake
    // and then looks for a sleeper. Both in one total order, so one of them sees the other.
    // On a cache line of their own, away from what the owner writes while it looks around.
    alignas(64) std::atomic<bool> wakePending{false};
    std::atomic<bool> asleep{false};

    // Owner only.
    alignas(64) u32 looks = 0;    // while yielding
    bool active = false;          // the last wait did not end by its time-out
    bool mayReturnUnread = false; // the last wait looked at the handles
};

} // namespace net
