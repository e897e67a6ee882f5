#include "tools/dm/LineWriter.h"

#include "tools/dm/ExitCode.h"
#include "tools/dm/Files.h"

#include <zul/Interrupt.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <utility>

namespace tool {

namespace {

// Lines printed together. Small enough for a slow reader to be seen moving.
constexpr std::size_t kBatchBytes = 16 * 1024;

} // namespace

LineWriter::LineWriter(Stream usualStream)
    : usual(usualStream)
    , thread([this] { run(); })
{
}

bool LineWriter::write(std::string line, Stream stream, unsigned long lines)
{
    {
        const std::lock_guard lock(mutex);
        if (hasEnded || waiting.size() == kMostWaiting ||
            waitingBytes + line.size() > kMostWaitingBytes) {
            lost += lines;
            return false;
        }
        waitingBytes += line.size();
        waiting.push_back({std::move(line), stream});
    }
    changed.notify_all();
    return true;
}

bool LineWriter::writeIfIdle(std::string line)
{
    {
        const std::lock_guard lock(mutex);
        if (isPrinting || !waiting.empty())
            return false;
    }
    return write(std::move(line));
}

bool LineWriter::waitForRoom(std::chrono::milliseconds limit)
{
    std::unique_lock lock(mutex);
    return changed.wait_for(lock, limit, [this] {
        return waiting.size() <= kMostWaiting / 2 && waitingBytes <= kMostWaitingBytes / 2;
    });
}

bool LineWriter::waitUntilPrinted(std::chrono::milliseconds limit)
{
    std::unique_lock lock(mutex);
    return changed.wait_for(lock, limit, [this] { return waiting.empty() && !isPrinting; });
}

bool LineWriter::hasFailed()
{
    const std::lock_guard lock(mutex);
    return failure != nullptr;
}

std::string LineWriter::lossNotice()
{
    const std::lock_guard lock(mutex);
    return lost == 0 ? ""
                     : "dm: " + std::to_string(lost) +
                           " lines of output are lost: it was not read in time\n";
}

std::exception_ptr LineWriter::getFailure()
{
    const std::lock_guard lock(mutex);
    return failure;
}

bool LineWriter::tryFinish()
{
    constexpr std::chrono::seconds kStandsStill{1};
    constexpr std::chrono::seconds kLongest{5}; // for a reader that takes a little now and then
    const auto deadline = std::chrono::steady_clock::now() + kLongest;
    {
        std::unique_lock lock(mutex);
        isFinishing = true;
        changed.notify_all();
        while (!hasEnded) {
            const unsigned long before = printed;
            const bool moved =
                changed.wait_for(lock, kStandsStill, [&] { return hasEnded || printed != before; });
            if (!moved || std::chrono::steady_clock::now() > deadline)
                return false;
        }
    }
    thread.join();
    return true;
}

void LineWriter::finish()
{
    if (!tryFinish()) {
        // Standard error may be the same pipe, and as stuck.
        LineWriter errors(Stream::Error);
        errors.write(kStuckNotice);
        errors.tryFinish();
        std::quick_exit(static_cast<int>(ExitCode::File));
    }
    if (failure != nullptr)
        std::rethrow_exception(failure);
    std::fputs(lossNotice().c_str(), stderr);
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
        const Line batch = takeBatch();
        isPrinting = true;
        lock.unlock();
        if (batch.stream == Stream::Output)
            writeOutput(batch.text.data(), batch.text.size());
        else
            std::fwrite(batch.text.data(), 1, batch.text.size(), stderr);
        lock.lock();
        isPrinting = false;
        ++printed;
        changed.notify_all();
    }
}

// Lines of one stream that go out together: written one by one, many would be slow.
LineWriter::Line LineWriter::takeBatch()
{
    Line batch = std::move(waiting.front());
    waiting.pop_front();
    while (!waiting.empty() && waiting.front().stream == batch.stream &&
           batch.text.size() < kBatchBytes)
    {
        batch.text += waiting.front().text;
        waiting.pop_front();
    }
    waitingBytes -= batch.text.size();
    return batch;
}

} // namespace tool
