/// Lets any thread use a thing until its owner closes it, and the owner wait until nobody does.
///
/// For things that are known by pointer beyond the reach of their owner's locks: a manager that a
/// hub or a job keeps, a hub that the callbacks of its managers know. The gate is counted and
/// outlives what it guards:
///
///     const Gate::Pass pass(*gate);
///     if (pass)
///         thing->use();       // is not destroyed meanwhile
///
///     gate->close();          // the owner: no new passes,
///     gate->awaitEmpty();     // and the old ones are back
///     destroy(thing);
///
/// Whoever holds a pass must give it back soon after the gate has closed: what blocks with one in
/// hand must be woken by the owner's shutdown.
///
/// Threads: any. Entering and leaving cost an atomic addition each.
#pragma once

#include <zul/Types.h>

#include <atomic>

namespace dm {

class Gate
{
public:
    /// For one scope of one thread. The gate must outlive it.
    class Pass
    {
    public:
        explicit Pass(Gate& entered);
        ~Pass();
        Pass(const Pass&) = delete;
        Pass& operator=(const Pass&) = delete;

        explicit operator bool() const { return gate != nullptr; }

    private:
        friend class Gate;

        Gate* gate;
        const Pass* outer = nullptr; // this thread's next older one
    };

    Gate() = default;
    Gate(const Gate&) = delete;
    Gate& operator=(const Gate&) = delete;

    bool isOpen() const { return (state.load(std::memory_order_acquire) & kClosed) == 0; }

    /// May be called again.
    void close() { state.fetch_or(kClosed); }

    /// Waits until all passes but those of the calling thread are back. Only after close().
    void awaitEmpty() const;

    bool isEmpty() const { return (state.load(std::memory_order_acquire) & ~kClosed) == 0; }

    /// Whether the calling thread holds a pass of any gate.
    static bool isAnyHeldByThisThread();

private:
    static constexpr zu::u32 kClosed = 0x80000000;

    bool enter();
    void leave();
    zu::u32 passesOfThisThread() const;

    std::atomic<zu::u32> state{0}; // passes given out, and kClosed
};

} // namespace dm
