/// A flag that one thread raises and another waits for.
///
/// The cheap way to wait for exactly one thing: no descriptor, no system call unless somebody
/// really sleeps. To wait for several things or together with sockets, use zu::PollableEvent.
///
///     zu::Event answered = zu::Event::create();
///     queue(request, answered);   // the other thread's copy: answered.set()
///     answered.wait();
///
/// An auto-reset event lets one waiter through for each time it was raised while down; raising it
/// twice in a row counts once. A manual one lets all through until reset().
///
/// Threads: any. What a thread wrote before set() is seen after the wait that it ended.
/// Ownership: copies share one event, which lives as long as the last of them; so the setter's own
/// copy stays good although the waiter has dropped its copy.
#pragma once

#include <zul/Types.h>
#include <zul/export.h>

#include <chrono>
#include <memory>
#include <utility>

namespace zu {

class ZUL_API Event
{
public:
    /// No event; only assignment and isValid() may be used.
    Event() noexcept = default;

    static Event create(bool manual = false, bool signalled = false);

    bool isValid() const { return state != nullptr; }

    /// Raises the event. Costs no system call while nobody sleeps on it.
    void set() const;
    /// Takes the event down. Waiters that set() has woken but that have not run yet wait on.
    void reset() const;

    /// Blocks until the event is up. Yields the core for a moment before it sleeps, see Yield.h.
    void wait() const;
    /// The same for at most `ms` milliseconds; whether the event was up. 0 asks without waiting.
    bool waitFor(u32 ms) const;

private:
    struct State;
    bool waitUntil(std::chrono::steady_clock::time_point deadline) const;
    explicit Event(std::shared_ptr<State> shared) noexcept
        : state(std::move(shared))
    {
    }

    std::shared_ptr<State> state;
};

} // namespace zu
