#include "zul/common/Readiness.h"

#include <zul/Exception.h>
#include <zul/WaitHandle.h>

#include <algorithm>
#include <chrono>

namespace zu {

int waitAny(const WaitHandle* handles, u32 count, u32 timeoutMs)
{
    using Clock = std::chrono::steady_clock;
    auto deadline = Clock::now() + std::chrono::milliseconds(timeoutMs);
    for (u32 leftMs = timeoutMs;;) {
        int ready = net::pollHandles(handles, count, leftMs);
        if (ready == -1 || !handles[ready].event || handles[ready].event->take())
            return ready;
        // Another waiter took the event in between.
        auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
        leftMs = static_cast<u32>(std::max<std::chrono::milliseconds::rep>(left.count(), 0));
    }
}

PollableEvent::PollableEvent()
    : signal(std::make_unique<net::Signal>())
{
    if (!signal->isValid())
        throw Exception("PollableEvent: no descriptor left");
}

PollableEvent::~PollableEvent() = default;

void PollableEvent::set()
{
    if (!raised.exchange(true))
        signal->raise();
}

bool PollableEvent::take()
{
    if (!signal->lower())
        return false;
    // In this order: a setter in between finds the event still set, raises nothing and is served by
    // the taker that goes on from here. The other way round its signal would be lowered unseen.
    raised.exchange(false);
    return true;
}

bool PollableEvent::wait(u32 timeoutMs)
{
    WaitHandle handle = getWaitHandle();
    return waitAny(&handle, 1, timeoutMs) == 0;
}

WaitHandle PollableEvent::getWaitHandle() const
{
    WaitHandle handle;
    handle.native = signal->native();
    handle.event = const_cast<PollableEvent*>(this); // to be taken by the wait that it ends
    return handle;
}

} // namespace zu
