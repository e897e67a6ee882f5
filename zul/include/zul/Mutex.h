/// Recursive locks that work before main and after it.
///
///     static zu::CriticalSection s_lock;
///     ...
///     zu::MutexGuard guard(s_lock);
///
/// The thread that holds a lock may lock it again, and unlocks as often. Constant-initialised and
/// never torn down, so a static one may be used from constructors and destructors of other statics
/// and from threads that outlive main.
///
/// Threads: unlock on the thread that locked. Not fair.
#pragma once

#include <zul/Types.h>
#include <zul/export.h>

#include <atomic>
#include <cassert>
#include <mutex>
#include <thread>
#include <type_traits>

namespace zu {

class Mutex
{
public:
    constexpr Mutex() noexcept = default;
    Mutex(const Mutex&) = delete;
    Mutex& operator=(const Mutex&) = delete;

    void lock()
    {
        if (isHeldByThisThread()) {
            ++depth;
            return;
        }
        native.lock();
        enter();
    }

    /// Named as the standard's guards expect it.
    bool try_lock()
    {
        if (isHeldByThisThread()) {
            ++depth;
            return true;
        }
        if (!native.try_lock())
            return false;
        enter();
        return true;
    }

    void unlock()
    {
        assert(isHeldByThisThread());
        if (--depth != 0)
            return;
        owner.store(std::thread::id(), std::memory_order_relaxed);
        native.unlock();
    }

    /// For assertions about lock order.
    bool isHeldByThisThread() const
    {
        // Only this thread ever stores its own id here, so a stale value cannot be taken for it.
        return owner.load(std::memory_order_relaxed) == std::this_thread::get_id();
    }

private:
    void enter()
    {
        owner.store(std::this_thread::get_id(), std::memory_order_relaxed);
        depth = 1;
    }

    std::mutex native;
    std::atomic<std::thread::id> owner{std::thread::id()};
    u32 depth = 0; ///< guarded by native
};

static_assert(std::is_trivially_destructible_v<Mutex>, "statics must stay usable after main");

/// The name for a process-wide lock; no difference.
using CriticalSection = Mutex;

using MutexGuard = std::lock_guard<Mutex>;

} // namespace zu
