/// The lock of a window: many threads print, one draws, and drawing does not stand in line.
///
/// A plain mutex goes to whoever comes by when it is free, and threads that print without a pause
/// always come by: a frame could wait for seconds. So the drawing thread says that it is waiting,
/// and threads that are about to print let it go first; it waits for no more than those that stood
/// in line before it, each for the time of one print.
///
/// A leaf of the lock order: nothing is called under it.
#pragma once

#include "dm/common/LockOrder.h"

#include <atomic>

namespace dm::console {

class WindowLock
{
public:
    /// Held by a thread that prints.
    class PrintGuard
    {
    public:
        explicit PrintGuard(WindowLock& windowLock)
            : lock(windowLock)
        {
            while (lock.drawingWaits.load(std::memory_order_acquire) != 0)
                lock.drawingWaits.wait(1, std::memory_order_acquire);
            lock.mutex.lock();
        }
        ~PrintGuard() { lock.mutex.unlock(); }
        PrintGuard(const PrintGuard&) = delete;
        PrintGuard& operator=(const PrintGuard&) = delete;

    private:
        WindowLock& lock;
    };

    /// Held by the thread that draws, for everything that it does.
    class DrawGuard
    {
    public:
        explicit DrawGuard(WindowLock& windowLock)
            : lock(windowLock)
            , hadToWait(!lock.mutex.try_lock())
        {
            if (!hadToWait)
                return;
            lock.drawingWaits.store(1, std::memory_order_release);
            lock.mutex.lock();
        }
        ~DrawGuard()
        {
            lock.mutex.unlock();
            if (!hadToWait)
                return;
            lock.drawingWaits.store(0, std::memory_order_release);
            lock.drawingWaits.notify_all();
        }
        DrawGuard(const DrawGuard&) = delete;
        DrawGuard& operator=(const DrawGuard&) = delete;

    private:
        WindowLock& lock;
        const bool hadToWait;
    };

private:
    LeafMutex mutex;
    std::atomic<int> drawingWaits{0};
};

} // namespace dm::console
