#include "zul/common/AddressWait.h"

#include <zul/Event.h>
#include <zul/Yield.h>

#include <atomic>
#include <cassert>

namespace zu {

// No wake-up is lost: a waiter announces itself in `sleepers` and then compares `raised` while
// falling asleep; a setter changes `raised` and then looks at `sleepers`. All four steps are in
// one total order, so at least one of the two sees the other.
struct Event::State
{
    explicit State(bool manualReset, bool signalled)
        : raised(signalled)
        , manual(manualReset)
    {
    }

    /// Passes an event that is up, taking it down if it resets itself.
    bool pass()
    {
        // Looks before it writes: spinning waiters would otherwise keep the setter's line busy.
        if (raised.load() == 0)
            return false;
        return manual || raised.exchange(0) != 0;
    }
    bool passWhileYielding(std::chrono::nanoseconds atMost)
    {
        YieldBudget budget{std::chrono::duration_cast<std::chrono::microseconds>(atMost)};
        while (budget.yield())
            if (pass())
                return true;
        return false;
    }

    std::atomic<u32> raised; ///< 1 while up; the word that waiters sleep on
    std::atomic<u32> sleepers{0};
    const bool manual;
};

namespace {

using Clock = std::chrono::steady_clock;

std::chrono::nanoseconds timeUntil(Clock::time_point deadline)
{
    if (deadline == Clock::time_point::max())
        return kWaitForever;
    return deadline - Clock::now();
}

} // namespace

Event Event::create(bool manual, bool signalled)
{
    return Event(std::make_shared<State>(manual, signalled));
}

void Event::set() const
{
    assert(isValid());
    if (state->raised.exchange(1) != 0 || state->sleepers.load() == 0)
        return; // whoever raised it first has woken a sleeper already
    if (state->manual)
        wakeAllByAddress(state->raised);
    else
        wakeOneByAddress(state->raised);
}

void Event::reset() const
{
    assert(isValid());
    state->raised.store(0);
}

bool Event::waitUntil(Clock::time_point deadline) const
{
    assert(isValid());
    if (state->pass() || state->passWhileYielding(timeUntil(deadline)))
        return true;
    state->sleepers.fetch_add(1);
    bool passed = state->pass();
    while (!passed) {
        const std::chrono::nanoseconds left = timeUntil(deadline);
        if (left.count() <= 0)
            break;
        waitOnAddress(state->raised, 0, left);
        passed = state->pass();
    }
    state->sleepers.fetch_sub(1);
    return passed;
}

void Event::wait() const { waitUntil(Clock::time_point::max()); }

bool Event::waitFor(u32 ms) const
{
    if (ms == 0)
        return state->pass();
    return waitUntil(Clock::now() + std::chrono::milliseconds(ms));
}

} // namespace zu
