/// Threads, their names, and waiting for time to pass.
#pragma once

#include <zul/Types.h>
#include <zul/export.h>

#include <memory>

namespace zu {

/// A base class whose run() is a thread's body.
///
///     class Loader : public zu::Thread
///     {
///     public:
///         ~Loader() override { joinThread(); }
///         int run() override;
///     };
///
/// Threads: startThread and joinThread may be called from any thread, several at once.
/// Ownership: the most derived destructor must join; reaching this one with the thread still
/// running is a fault, because run() would be using members that are gone.
/// Order: copying copies no thread: the copy is one that was never started, and the target of an
/// assignment keeps its own.
class ZUL_API Thread
{
public:
    Thread();
    Thread(const Thread&);
    Thread& operator=(const Thread&) noexcept { return *this; }
    virtual ~Thread();

    /// The body. An exception that leaves it ends the process. The value is not used.
    virtual int run() = 0;

    /// Runs run() on a new thread. A previous one is joined first, so while that still runs this
    /// waits. Ignored on the object's own thread.
    ///
    /// Errors: zu::Exception when the system has no thread to give.
    void startThread();

    /// Waits until run() has returned and the thread is gone. Returns at once when it was never
    /// started, was joined already, or is the calling thread itself.
    void joinThread();

    /// True from startThread until run() has returned.
    bool isThreadRunning() const;

private:
    struct State;
    std::unique_ptr<State> state;
};

/// Notes a number for the calling thread, which debuggers and logs may show. Changes nothing else.
ZUL_API void registerThread(int threadId);
/// The calling thread's number; 0 when it never registered.
ZUL_API int getRegisteredThreadId();

/// The system's number of the calling thread, unique among living threads.
ZUL_API u32 currentThreadId();

/// Names a thread of this process, for debuggers and getThreadName. Null counts as "". The system
/// may show only the beginning.
ZUL_API void setThreadName(u32 osThreadId, const char* name);
/// The whole name last given to a thread, "" for none. Forgotten when a zu::Thread ends, or one
/// that named itself or recorded a profile zone; other threads leave their name to the next thread
/// of that number. The text lives as long as the process.
ZUL_API const char* getThreadName(u32 osThreadId);

/// Lets at least this time pass.
ZUL_API void sleep(u32 microseconds);
ZUL_API void sleepMs(u32 milliseconds);
/// Lets another thread that is ready have the core.
ZUL_API void yieldThread();

} // namespace zu
