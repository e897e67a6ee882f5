/// The lock of a window: many threads print, one draws, and drawing does not stand in line.
///
/// A plain mutex goes to whoever comes by when it is free, and threads that print without a pause
/// always come by: a frame could wait for seconds. So the drawing thread says that it is waiting,
/// and threads that are about to print let it go first. It does not sleep in the mutex's line,
/// where those that came before it would be woken one after the other, but looks at the mutex until
/// it is free: that is the time of one print.
///
/// Unless the system has taken the core from the thread that prints. For that a frame does not
/// wait: it shows what the last one did.
///
/// A leaf of the lock order: nothing is called under it.
#pragma once

#include "dm/common/LockOrder.h"

#include <atomic>
#include <chrono>

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

    enum class Patience
    {
        Endless,
        OfAFrame, ///< gives up after kFramePatience
    };
    static constexpr std::chrono::microseconds kFramePatience{300};

    /// Held by the thread that draws, for everything that it does.
    class DrawGuard
    {
    public:
        explicit DrawGuard(WindowLock& windowLock, Patience patience = Patience::Endless)
            : lock(windowLock)
            , held(lock.mutex.try_lock())
            , hadToWait(!held)
        {
            if (held)
                return;
            lock.drawingWaits.store(1, std::memory_order_release);
            lookAWhile();
            if (held || patience == Patience::OfAFrame)
                return;
            lock.mutex.lock();
            held = true;
        }
        ~DrawGuard()
        {
            if (held)
                lock.mutex.unlock();
            if (!hadToWait)
                return;
            lock.drawingWaits.store(0, std::memory_order_release);
            lock.drawingWaits.notify_all();
        }
        DrawGuard(const DrawGuard&) = delete;
        DrawGuard& operator=(const DrawGuard&) = delete;

        /// Always, with endless patience.
        bool isHeld() const { return held; }

    private:
        // Does not yield: the core would go to a thread that prints, and whose turn it is then is
        // the system's to say.
        void lookAWhile()
        {
            const auto end = std::chrono::steady_clock::now() + kFramePatience;
            do {
                held = lock.mutex.try_lock();
            } while (!held && std::chrono::steady_clock::now() < end);
        }

        WindowLock& lock;
        bool held;
        const bool hadToWait;
    };

private:
    LeafMutex mutex;
    std::atomic<int> drawingWaits{0};
};

} // namespace dm::console
