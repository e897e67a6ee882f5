#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <exception>
#include <mutex>
#include <string>
#include <thread>

namespace tool {

/// Writes lines to standard output, and standard error, for threads that must not wait for whoever
/// reads it.
///
/// Threads: write from any. A thread of its own prints; it is started by the constructor, woken by
/// write, and joined by finish, which must be called.
/// Limits: kMostWaiting lines wait; of what comes beyond, the end tells how many were lost.
class LineWriter
{
public:
    static constexpr std::size_t kMostWaiting = 100000;

    LineWriter();
    LineWriter(const LineWriter&) = delete;
    LineWriter& operator=(const LineWriter&) = delete;

    enum class Stream
    {
        Output,
        Error
    };

    /// Takes a line with its end. Returns at once, false when it is lost. Lines come out in the
    /// order of the calls, on both streams together.
    bool write(std::string line, Stream stream = Stream::Output);

    /// For threads that may wait: until half of the room is free, at most for so long. Returns
    /// whether it is.
    bool waitForRoom(std::chrono::milliseconds limit);

    /// Whether standard output takes nothing any more. zu::Interrupt is notified of it.
    bool hasFailed();

    /// Waits until all lines are printed. Rethrows what went wrong with that. When standard output
    /// stands still for a second, ends the process: what blocks in there cannot be woken.
    void finish();

private:
    struct Line
    {
        std::string text;
        Stream stream = Stream::Output;
    };

    void run();
    void printAll();
    Line takePiece();

    std::mutex mutex;
    std::condition_variable changed;
    std::deque<Line> waiting;
    unsigned long printed = 0;
    unsigned long lost = 0;
    bool isFinishing = false;
    bool hasEnded = false;
    std::exception_ptr failure;

    std::thread thread; // last: it uses all of the above
};

} // namespace tool
