/// The lock of a window: many threads print, one draws, and drawing does not stand in line.
///
/// A plain mutex goes to whoever comes by when it is free, and threads that print without a pause
/// always come by: a frame could wait for seconds. So the threads that print take turns among
/// themselves, and only the one whose turn it is competes with the thread that draws; when that one
/// waits, it is next, and is handed the lock. A frame waits for one print at most, asleep, so that
/// the system has a core for the thread that it waits for.
///
/// A leaf of the lock order: nothing is called under it.
#pragma once

#include "dm/common/LockOrder.h"

#include <atomic>
#include <cassert>

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
            lock.printers.lock();
            for (int seen = kFree; !lock.moveFrom(seen, kPrinting); seen = kFree)
                lock.state.wait(seen, std::memory_order_relaxed);
        }
        ~PrintGuard()
        {
            if (int seen = kPrinting; !lock.moveFrom(seen, kFree)) {
                lock.state.store(kDrawing, std::memory_order_release);
                lock.state.notify_all();
            }
            lock.printers.unlock();
        }
        PrintGuard(const PrintGuard&) = delete;
        PrintGuard& operator=(const PrintGuard&) = delete;

    private:
        WindowLock& lock;
    };

    /// Held by the thread that draws, for everything that it does: one thread at a time.
    class DrawGuard
    {
    public:
        explicit DrawGuard(WindowLock& windowLock)
            : lock(windowLock)
        {
            for (int seen = kFree; !lock.moveFrom(seen, kDrawing); seen = kFree) {
                assert(seen == kPrinting && "two threads use the window as if they drew it");
                if (!lock.moveFrom(seen, kPrintingDrawingNext))
                    continue; // it has become free
                while ((seen = lock.state.load(std::memory_order_acquire)) != kDrawing)
                    lock.state.wait(seen, std::memory_order_relaxed);
                return;
            }
        }
        ~DrawGuard()
        {
            lock.state.store(kFree, std::memory_order_release);
            lock.state.notify_all(); // one at most: the others wait for their turn to print
        }
        DrawGuard(const DrawGuard&) = delete;
        DrawGuard& operator=(const DrawGuard&) = delete;

    private:
        WindowLock& lock;
    };

private:
    enum : int
    {
        kFree,
        kPrinting,
        kPrintingDrawingNext, ///< goes to kDrawing
        kDrawing,
    };

    /// Or tells what it is instead.
    bool moveFrom(int& from, int to)
    {
        return state.compare_exchange_strong(from, to, std::memory_order_acq_rel,
                                             std::memory_order_acquire);
    }

    LeafMutex printers; // whose turn it is among them
    std::atomic<int> state{kFree};
};

} // namespace dm::console
