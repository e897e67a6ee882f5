#include "zul/common/NativeThread.h"
#include "zul/common/ThreadNames.h"

#include <zul/Exception.h>
#include <zul/Thread.h>

#include <atomic>
#include <cassert>
#include <chrono>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <system_error>
#include <thread>

namespace zu {

namespace {

/// The full names of living threads. Names themselves are kept for ever, one of each, because
/// getThreadName hands out pointers that nobody gives back.
class ThreadNames
{
public:
    // Never destroyed: threads that outlive main still end, and are forgotten, afterwards.
    static ThreadNames& get()
    {
        static ThreadNames& names = *new ThreadNames;
        return names;
    }

    void set(u32 threadId, const char* name)
    {
        std::lock_guard guard(lock);
        nameOfThread[threadId] = texts.insert(name).first->c_str();
    }
    const char* find(u32 threadId)
    {
        std::lock_guard guard(lock);
        const auto found = nameOfThread.find(threadId);
        return found == nameOfThread.end() ? "" : found->second;
    }
    void forget(u32 threadId)
    {
        std::lock_guard guard(lock);
        nameOfThread.erase(threadId);
    }

private:
    std::mutex lock;
    std::set<std::string> texts;
    std::map<u32, const char*> nameOfThread;
};

thread_local int t_registeredId = 0;

} // namespace

void forgetNameAtThreadEnd()
{
    struct Keeper
    {
        u32 threadId = currentThreadId();
        ~Keeper() { ThreadNames::get().forget(threadId); }
    };
    thread_local Keeper keeper;
    static_cast<void>(keeper.threadId);
}

/// Life-cycle: startThread makes `thread`, whoever joins next (joinThread, startThread or the
/// destructor) clears it. The body touches only the two atomics, so that joining under `lock`
/// cannot wait for itself.
struct Thread::State
{
    std::mutex lock;    ///< held while joining, so that a second joiner returns after the first
    std::thread thread; ///< guarded by lock
    std::atomic<std::thread::id> runner{std::thread::id()}; ///< set by the body while it runs
    std::atomic<bool> running{false};

    bool isOwnThread() const { return runner.load() == std::this_thread::get_id(); }
    void joinLocked()
    {
        if (thread.joinable())
            thread.join();
    }
    void body(Thread& owner)
    {
        runner.store(std::this_thread::get_id());
        forgetNameAtThreadEnd();
        owner.run();
        runner.store(std::thread::id());
        running.store(false);
    }
};

Thread::Thread()
    : state(std::make_unique<State>())
{
}

Thread::Thread(const Thread&)
    : Thread()
{
}

Thread::~Thread()
{
    assert(!state->running.load() && "the most derived destructor must join");
    joinThread();
}

void Thread::startThread()
{
    if (state->isOwnThread())
        return;
    std::lock_guard guard(state->lock);
    state->joinLocked();
    state->running.store(true);
    try {
        state->thread = std::thread([this] { state->body(*this); });
    } catch (const std::system_error& failure) {
        state->running.store(false);
        Exception error;
        error.setError("cannot start a thread: %s", failure.what());
        throw error;
    } catch (...) {
        state->running.store(false);
        throw;
    }
}

void Thread::joinThread()
{
    if (state->isOwnThread())
        return;
    std::lock_guard guard(state->lock);
    state->joinLocked();
}

bool Thread::isThreadRunning() const { return state->running.load(); }

void registerThread(int threadId) { t_registeredId = threadId; }

int getRegisteredThreadId() { return t_registeredId; }

u32 currentThreadId() { return nativeThreadId(); }

void setThreadName(u32 osThreadId, const char* name)
{
    if (osThreadId == currentThreadId())
        forgetNameAtThreadEnd();
    const char* text = name ? name : "";
    ThreadNames::get().set(osThreadId, text);
    setNativeThreadName(osThreadId, text);
}

const char* getThreadName(u32 osThreadId) { return ThreadNames::get().find(osThreadId); }

void sleep(u32 microseconds)
{
    std::this_thread::sleep_for(std::chrono::microseconds(microseconds));
}

void sleepMs(u32 milliseconds)
{
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

void yieldThread() { std::this_thread::yield(); }

} // namespace zu
