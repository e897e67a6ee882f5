#include "zul/common/Readiness.h"

#include <zul/Exception.h>
#include <zul/Socket.h>
#include <zul/WaitSet.h>
#include <zul/Yield.h>

namespace net {

static constexpr u64 kWakeKey = ~u64{0};

WaitSet::WaitSet()
    : poller(std::make_unique<Poller>())
    , signal(std::make_unique<Signal>())
{
    if (poller->isValid() && signal->isValid() && poller->addWakeUp(*signal, kWakeKey))
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

u32 WaitSet::wait(Ready* out, u32 capacity, u32 timeoutMs, const Hint& likely)
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
        count = poll(out, capacity, timeoutMs, likely);
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
u32 WaitSet::poll(Ready* out, u32 capacity, u32 timeoutMs, const Hint& likely)
{
    // The likely socket may be ready all the time; while it is not, others mostly are not either.
    constexpr u32 kBusyLooksPerCollect = 4;
    constexpr u32 kYieldingLooksPerCollect = 16;
    u32 count = look(out, capacity, likely, kBusyLooksPerCollect);
    if (count > 0 || !active)
        return count;
    zu::YieldBudget budget{std::chrono::milliseconds(timeoutMs)};
    while (count == 0 && !wakeRequested() && budget.yield()) {
        // A wake is seen without a system call: no look first.
        if (!wakeRequested())
            count = look(out, capacity, likely, kYieldingLooksPerCollect);
    }
    return count;
}

// Mostly at the likely socket alone, but every so often at all.
u32 WaitSet::look(Ready* out, u32 capacity, const Hint& likely, u32 looksPerCollect)
{
    if (likely.socket == nullptr || ++looks % looksPerCollect == 0)
        return collect(out, capacity, 0);
    likely.socket->update(true, false);
    if (likely.socket->isConnected() && !likely.socket->hasPacket())
        return 0;
    out[0] = {likely.key, false, false};
    return 1;
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
    const u32 found = poller->wait(out, capacity, timeoutMs);
    u32 count = 0;
    for (u32 index = 0; index < found; index++) {
        if (out[index].key != kWakeKey)
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
