// Waiting in the kernel, as the platform offers it: the seam below waitAny, PollableEvent and
// WaitSet.
#pragma once

#include <zul/WaitHandle.h>
#include <zul/WaitSet.h>

#include <cstdint>

namespace net {

// Something that one thread raises and that makes another's wait return. Stays up until lowered.
// Threads: any.
class Signal
{
public:
    Signal(); // isValid tells whether the system had a descriptor left
    ~Signal();
    Signal(const Signal&) = delete;
    Signal& operator=(const Signal&) = delete;

    bool isValid() const { return descriptor != -1; }
    void raise();

    // Returns whether it was up: one of several callers is told so.
    bool lower();

    std::intptr_t native() const { return descriptor; }

private:
    std::intptr_t descriptor;
};

// Index of the first handle that is ready, -1 after timeoutMs. At most MAXIMUM_WAIT handles; those
// that are not valid are never ready.
int pollHandles(const zu::WaitHandle* handles, zu::u32 count, zu::u32 timeoutMs);

// A set of handles kept by the kernel. Threads: one.
class Poller
{
public:
    Poller(); // isValid as above
    ~Poller();
    Poller(const Poller&) = delete;
    Poller& operator=(const Poller&) = delete;

    bool isValid() const { return descriptor != -1; }

    // Each does the other's work when the handle is, or is not, in the set already; the right one
    // saves a system call.
    bool add(std::intptr_t handle, zu::Interest interest, u64 key);
    bool change(std::intptr_t handle, zu::Interest interest, u64 key);
    void remove(std::intptr_t handle);

    // Watches a signal that is never lowered: it is reported once for each time it was raised, or
    // once for several.
    bool addWakeUp(const Signal& signal, u64 key);

    // What is ready, up to capacity (at most kMaxReady); waits up to timeoutMs, not at all for 0.
    // Interrupted waits return 0 early.
    u32 wait(WaitSet::Ready* out, u32 capacity, u32 timeoutMs);

    static constexpr u32 kMaxReady = 256;

private:
    std::intptr_t descriptor;
};

} // namespace net
