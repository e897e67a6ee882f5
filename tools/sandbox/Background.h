#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <list>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace sandbox {

/// Work that may wait for somebody else, kept off the thread that draws.
///
/// Work runs on a thread and returns what is to be done about it on the main thread, where poll
/// does that. What work throws is handed to `failed` there.
///
/// Threads: the main thread's.
/// Order: work of inOrder is done one after the other and finished in that order.
class Background
{
public:
    using Finish = std::function<void()>;
    using Work = std::function<Finish()>;
    using Failed = std::function<void(const std::string& what)>;

    /// Work aside at any one time.
    static constexpr size_t kMaxAside = 8;

    explicit Background(Failed onFailure);
    /// Waits for the work that runs; whoever it waits for must have been stopped. Drops the rest.
    ~Background();
    Background(const Background&) = delete;
    Background& operator=(const Background&) = delete;

    /// For work that is quick for certain, as with local files: it is done within inOrder. At first
    /// it is not.
    void setImmediate(bool immediate) { isImmediate = immediate; }

    void inOrder(Work work);

    /// On a thread of its own. False, and nothing is done, when kMaxAside are busy or
    /// there is no thread to be had.
    bool aside(Work work);

    /// Whether work that takes long had better stop. Any thread.
    bool isEnding() const;

    /// Once per frame.
    void poll();

private:
    struct Aside
    {
        std::thread thread;
        bool hasEnded = false;
    };

    Finish attempt(const Work& work) const;
    void runInOrder();

    const Failed failed;
    bool isImmediate = false;

    mutable std::mutex mutex; // guards what follows, but for the threads themselves
    std::condition_variable changed;
    std::deque<Work> waiting;
    std::vector<Finish> finished;
    std::list<Aside> asides;
    bool isOver = false;

    std::thread worker; // started by the first inOrder; the destructor ends it
};

} // namespace sandbox
