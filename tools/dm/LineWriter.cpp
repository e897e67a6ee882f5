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

bool LineWriter::write(std::string line, Stream stream)
{
    {
        const std::lock_guard lock(mutex);
        if (waiting.size() == kMostWaiting) {
            ++lost;
            return false;
        }
        waiting.push_back({std::move(line), stream});
    }
    changed.notify_all();
    return true;
}

bool LineWriter::waitForRoom(std::chrono::milliseconds limit)
{
    std::unique_lock lock(mutex);
    return changed.wait_for(lock, limit, [this] { return waiting.size() <= kMostWaiting / 2; });
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
        const Line piece = takePiece();
        lock.unlock();
        if (piece.stream == Stream::Output)
            writeOutput(piece.text.data(), piece.text.size());
        else
            std::fputs(piece.text.c_str(), stderr);
        lock.lock();
        ++printed;
        changed.notify_all();
    }
}

// Lines of one stream that go out together: written one by one, many would be slow. Not so many
// that a slow reader who does read seems to stand still.
LineWriter::Line LineWriter::takePiece()
{
    constexpr std::size_t kPieceBytes = 32 * 1024;
    Line piece = std::move(waiting.front());
    waiting.pop_front();
    while (!waiting.empty() && waiting.front().stream == piece.stream &&
           piece.text.size() + waiting.front().text.size() <= kPieceBytes)
    {
        piece.text += waiting.front().text;
        waiting.pop_front();
    }
    return piece;
}

} // namespace tool
