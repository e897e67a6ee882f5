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
        hasCallback.store(callback.isSet(), std::memory_order_release);
        ++setters;
        finished.wait(guard, [this] { return !runsElsewhere(); });
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
            runners.push_back(std::this_thread::get_id());
        }
        current.function(current.context, arguments...);
        std::lock_guard guard(lock);
        runners.erase(std::find(runners.begin(), runners.end(), std::this_thread::get_id()));
        if (setters > 0)
            finished.notify_all();
    }

private:
    bool runsElsewhere() const
    {
        const auto self = std::this_thread::get_id();
        return std::any_of(runners.begin(), runners.end(),
                           [self](std::thread::id runner) { return runner != self; });
    }

    LeafMutex lock;
    std::condition_variable_any finished;
    std::atomic<bool> hasCallback{false};

    // Under lock.
    Callback<Arguments...> callback;
    std::vector<std::thread::id> runners; // one entry a running call
    int setters = 0;                      // waiting for running calls to end
};

} // namespace dm
