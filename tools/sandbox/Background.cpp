#include "tools/sandbox/Background.h"

#include <zul/Profile.h>
#include <zul/Thread.h>

#include <exception>
#include <system_error>
#include <utility>

namespace sandbox {

namespace {

constexpr const char* kThreadName = "background";

}

Background::Background(Failed onFailure)
    : failed(std::move(onFailure))
{
}

Background::~Background()
{
    {
        const std::lock_guard lock(mutex);
        isOver = true;
        waiting.clear();
    }
    changed.notify_all();
    if (worker.joinable())
        worker.join();
    for (Aside& aside : asides)
        aside.thread.join();
}

void Background::inOrder(Work work)
{
    if (isImmediate) {
        attempt(work)();
        return;
    }
    {
        const std::lock_guard lock(mutex);
        waiting.push_back(std::move(work));
    }
    if (!worker.joinable())
        worker = std::thread([this] { runInOrder(); });
    changed.notify_all();
}

bool Background::aside(Work work)
{
    const std::lock_guard lock(mutex);
    if (asides.size() == kMaxAside)
        return false;
    Aside& aside = asides.emplace_back();
    try {
        aside.thread = std::thread([this, &aside, work = std::move(work)] {
            zu::setThreadName(zu::currentThreadId(), kThreadName);
            Finish finish = attempt(work);
            const std::lock_guard finishing(mutex);
            finished.push_back(std::move(finish));
            aside.hasEnded = true;
        });
    } catch (const std::system_error&) {
        asides.pop_back();
        return false;
    }
    return true;
}

bool Background::isEnding() const
{
    const std::lock_guard lock(mutex);
    return isOver;
}

void Background::poll()
{
    std::vector<Finish> due;
    std::list<Aside> ended;
    {
        const std::lock_guard lock(mutex);
        due.swap(finished);
        for (auto aside = asides.begin(); aside != asides.end();) {
            const auto next = std::next(aside);
            if (aside->hasEnded)
                ended.splice(ended.end(), asides, aside);
            aside = next;
        }
    }
    for (Aside& aside : ended)
        aside.thread.join();
    for (const Finish& finish : due)
        finish();
}

Background::Finish Background::attempt(const Work& work) const
{
    ZUL_PROFILE_ZONE("background");
    try {
        return work();
    } catch (const std::exception& error) {
        return [this, what = std::string(error.what())] { failed(what); };
    }
}

void Background::runInOrder()
{
    zu::setThreadName(zu::currentThreadId(), kThreadName);
    std::unique_lock lock(mutex);
    for (;;) {
        changed.wait(lock, [this] { return isOver || !waiting.empty(); });
        if (isOver)
            return;
        const Work work = std::move(waiting.front());
        waiting.pop_front();
        lock.unlock();
        Finish finish = attempt(work);
        lock.lock();
        finished.push_back(std::move(finish));
    }
}

} // namespace sandbox
