#include "dm/common/Gate.h"

namespace dm {

namespace {

// The passes this thread holds, the newest first: it cannot wait for itself to leave.
thread_local const Gate::Pass* t_newest = nullptr;

} // namespace

Gate::Pass::Pass(Gate& entered)
    : gate(entered.enter() ? &entered : nullptr)
{
    if (gate == nullptr)
        return;
    outer = t_newest;
    t_newest = this;
}

Gate::Pass::~Pass()
{
    if (gate == nullptr)
        return;
    t_newest = outer;
    gate->leave();
}

bool Gate::enter()
{
    if ((state.fetch_add(1) & kClosed) == 0)
        return true;
    leave();
    return false;
}

void Gate::leave()
{
    if ((state.fetch_sub(1) & kClosed) != 0)
        state.notify_all();
}

void Gate::awaitEmpty() const
{
    const zu::u32 own = passesOfThisThread();
    for (zu::u32 seen = state.load(); (seen & ~kClosed) > own; seen = state.load())
        state.wait(seen);
}

bool Gate::isAnyHeldByThisThread() { return t_newest != nullptr; }

zu::u32 Gate::passesOfThisThread() const
{
    zu::u32 count = 0;
    for (const Pass* pass = t_newest; pass != nullptr; pass = pass->outer)
        count += pass->gate == this ? 1 : 0;
    return count;
}

} // namespace dm
