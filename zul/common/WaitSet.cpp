#include "zul/common/Readiness.h"

#include <zul/Exception.h>
#include <zul/WaitSet.h>
#include <zul/Yield.h>

namespace net {

static constexpr u64 kWakeKey = ~u64{0};

WaitSet::WaitSet()
    : poller(std::make_unique<Poller>())
    , signal(std::make_unique<Signal>())
{
    if (poller->isValid() && signal->isValid() &&
        poller->add(signal->native(), zu::Interest::Read, kWakeKey))
        return;
    throw zu::Exception("WaitSet: no descriptor left");
}

WaitSet::~WaitSet() = default;

bool WaitSet::add(const zu::WaitHandle& handle, zu::Interest interest, u64 key)
{
    return handle.isValid() && poller->add(handle.native, interest, key);
}

bool WaitSet::change(const zu::WaitHandle& handle, zu::Interest interest, u64 key)
{
    return handle.isValid() && poller->change(handle.native, interest, key);
}

void WaitSet::remove(const zu::WaitHandle& handle)
{
    if (handle.isValid())
        poller->remove(handle.native);
}

u32 WaitSet::wait(Ready* out, u32 capacity, u32 timeoutMs)
{
    // A wake mostly means that there is something to send: get on with it. But not twice in a row,
    // or a busy waker would keep the owner from ever reading.
    if (mayReturnUnread && takeWake()) {
        mayReturnUnread = false;
        active = true;
        return 0;
    }
    mayReturnUnread = true;

    bool woken = wakeRequested();
    u32 count = 0;
    if (active || woken || timeoutMs == 0) {
        count = poll(out, capacity, timeoutMs);
        woken = takeWake();
    }
    if (count == 0 && !woken && timeoutMs > 0) {
        count = sleep(out, capacity, timeoutMs);
        woken = takeWake();
    }
    // A mere look that found nothing does not make the owner an idle one.
    active = count > 0 || woken || (active && timeoutMs == 0);
    return count;
}

bool WaitSet::takeWake() { return wakeRequested() && wakePending.exchange(false); }

// Looks again and again, yielding the core in between to whoever is to make something ready.
u32 WaitSet::poll(Ready* out, u32 capacity, u32 timeoutMs)
{
    u32 count = collect(out, capacity, 0);
    if (count > 0 || !active)
        return count;
    zu::YieldBudget budget{std::chrono::milliseconds(timeoutMs)};
    while (count == 0 && !wakeRequested() && budget.yield())
        count = collect(out, capacity, 0);
    return count;
}

u32 WaitSet::sleep(Ready* out, u32 capacity, u32 timeoutMs)
{
    asleep.store(true);
    // A wake that came before the announcement signalled nothing.
    u32 count = wakePending.load() ? 0 : collect(out, capacity, timeoutMs);
    asleep.store(false);
    return count;
}

// One look at the kernel's set, without the signal that only ends sleeps.
u32 WaitSet::collect(Ready* out, u32 capacity, u32 timeoutMs)
{
    u32 found = poller->wait(out, capacity, timeoutMs);
    u32 count = 0;
    for (u32 index = 0; index < found; index++) {
        if (out[index].key == kWakeKey)
            signal->lower();
        else
            out[count++] = out[index];
    }
    return count;
}

void WaitSet::wake()
{
    if (!wakePending.exchange(true) && asleep.load())
        signal->raise();
}

} // namespace net
