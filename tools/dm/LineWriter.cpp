#include "tools/dm/LineWriter.h"

#include "tools/dm/ExitCode.h"
#include "tools/dm/Files.h"

#include <zul/Interrupt.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <utility>

namespace tool {

LineWriter::LineWriter()
    : thread([this] { run(); })
{
}

void LineWriter::write(std::string line)
{
    {
        const std::lock_guard lock(mutex);
        if (waiting.size() == kMostWaiting) {
            ++lost;
            return;
        }
        waiting.push_back(std::move(line));
    }
    changed.notify_all();
}

bool LineWriter::hasFailed()
{
    const std::lock_guard lock(mutex);
    return failure != nullptr;
}

void LineWriter::finish()
{
    constexpr std::chrono::seconds kStandsStill{1};
    {
        std::unique_lock lock(mutex);
        isFinishing = true;
        changed.notify_all();
        while (!hasEnded) {
            const unsigned long before = printed;
            const bool moved =
                changed.wait_for(lock, kStandsStill, [&] { return hasEnded || printed != before; });
            if (moved)
                continue;
            std::fputs("dm: standard output takes no more, the last lines are lost\n", stderr);
            std::quick_exit(static_cast<int>(ExitCode::File));
        }
    }
    thread.join();
    if (failure != nullptr)
        std::rethrow_exception(failure);
    if (lost > 0)
        std::fprintf(stderr, "dm: %lu lines of output are lost: it was not read in time\n", lost);
}

void LineWriter::run()
{
    std::exception_ptr thrown;
    try {
        printAll();
    } catch (...) {
        thrown = std::current_exception();
    }
    {
        const std::lock_guard lock(mutex);
        failure = thrown;
        hasEnded = true;
    }
    changed.notify_all();
    zu::Interrupt::get().notify();
}

void LineWriter::printAll()
{
    std::unique_lock lock(mutex);
    for (;;) {
        changed.wait(lock, [this] { return isFinishing || !waiting.empty(); });
        if (waiting.empty())
            return;
        const std::string line = std::move(waiting.front());
        waiting.pop_front();
        lock.unlock();
        writeOutput(line.data(), line.size());
        lock.lock();
        ++printed;
        changed.notify_all();
    }
}

} // namespace tool
