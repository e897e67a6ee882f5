/// Waiting for the first of several things: sockets, listeners and pollable events.
///
/// For a thread with a handful of things to wait for; one with many connections uses a WaitSet.
///
///     zu::WaitHandle handles[] = {wakeEvent.getWaitHandle(), socket.getWaitHandle()};
///     if (zu::waitAny(handles, 2, 100) == 0)
///         ...
#pragma once

#include <zul/Types.h>
#include <zul/export.h>

#include <atomic>
#include <cstdint>
#include <memory>

namespace net {
class Signal;
}

namespace zu {

class PollableEvent;

/// How many handles waitAny takes.
inline constexpr u32 MAXIMUM_WAIT = 64;

/// What a waiter wants to be told of. Errors and a closed connection count as readable, and end a
/// wait whatever the interest.
enum class Interest : u32
{
    None = 0,
    Read = 1,
    Write = 2,
    ReadWrite = 3
};

/// Names something that can be waited for. Owns nothing and turns stale with what it names; ask
/// for a new one before each wait, which is cheap.
struct WaitHandle
{
    std::intptr_t native = -1; ///< the system's number; -1 for nothing to wait for
    Interest interest = Interest::Read;
    u32 serial = 0;                 ///< tells connections apart that got the same number in turn
    PollableEvent* event = nullptr; ///< set when a wait that it ends takes its token

    bool isValid() const { return native != -1; }
};

/// Waits until one of the handles is ready, at most timeoutMs. No value means for ever.
///
///   handles   count of them, at most MAXIMUM_WAIT; duplicates and handles that are not valid do
///             no harm. None at all just waits.
///
/// Returns the lowest ready index, or -1 after the time-out. A pollable event that ended the wait
/// is reset; others that were set as well stay set.
///
/// Threads: any. Two waiters on one event: one of them gets it.
ZUL_API int waitAny(const WaitHandle* handles, u32 count, u32 timeoutMs);

/// An auto-reset event that can be waited for together with sockets.
///
/// Costs a descriptor: where one thread waits for nothing else, zu::Event is cheaper.
///
/// Threads: set from any thread and as often as liked; setting a set event costs no system call.
/// Errors: throws zu::Exception when the system has no descriptor left.
class ZUL_API PollableEvent
{
public:
    PollableEvent();
    ~PollableEvent();

    PollableEvent(const PollableEvent&) = delete;
    PollableEvent& operator=(const PollableEvent&) = delete;

    void set();

    /// Resets the event. Returns whether it was set: exactly one of several takers is told so.
    bool take();

    /// Waits until it is set, and takes it. False after the time-out.
    bool wait(u32 timeoutMs);

    WaitHandle getWaitHandle() const;

private:
    std::unique_ptr<net::Signal> signal;
    std::atomic<bool> raised{false};
};

} // namespace zu
