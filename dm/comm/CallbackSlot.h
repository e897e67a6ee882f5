/// A callback that can be replaced while it runs.
///
/// Guarantee: when set() returns, the previous callback runs on no other thread and will not run
/// again, so its context may be destroyed. Setting from inside the callback itself works, and then
/// only the calls of other threads are waited for.
#pragma once

#include "dm/common/LockOrder.h"

#include <dm/comm.h>

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <thread>
#include <vector>

namespace dm {

template <typename... Arguments>
class CallbackSlot
{
public:
    void set(Callback<Arguments...> newCallback)
    {
        std::unique_lock guard(lock);
        callback = newCallback;
        ++generation;
        hasCallback.store(callback.isSet(), std::memory_order_release);
        ++setters;
        finished.wait(guard, [this, mine = generation] { return !oldRunsElsewhere(mine); });
        --setters;
    }

    bool isSet() const { return hasCallback.load(std::memory_order_acquire); }

    void call(Arguments... arguments)
    {
        if (!isSet())
            return;
        Callback<Arguments...> current;
        {
            std::lock_guard guard(lock);
            current = callback;
            if (current.function == nullptr)
                return;
            runners.push_back({std::this_thread::get_id(), generation});
        }
        current.function(current.context, arguments...);
        std::lock_guard guard(lock);
        runners.erase(std::find_if(runners.begin(), runners.end(), isThisThread));
        if (setters > 0)
            finished.notify_all();
    }

private:
    struct Runner
    {
        std::thread::id thread;
        zu::u64 generation; // of the callback it runs
    };

    static bool isThisThread(const Runner& runner)
    {
        return runner.thread == std::this_thread::get_id();
    }

    /// Whether another thread runs a callback that was replaced. One set meanwhile may run on and
    /// on without holding up whoever set it.
    bool oldRunsElsewhere(zu::u64 current) const
    {
        return std::any_of(runners.begin(), runners.end(), [current](const Runner& runner) {
            return runner.generation < current && !isThisThread(runner);
        });
    }

    LeafMutex lock;
    std::condition_variable_any finished;
    std::atomic<bool> hasCallback{false};

    // Under lock.
    Callback<Arguments...> callback;
    zu::u64 generation = 0;      // counts set()
    std::vector<Runner> runners; // one entry a running call
    int setters = 0;             // waiting for running calls to end
};

} // namespace dm
