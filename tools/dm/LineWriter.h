#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <exception>
#include <mutex>
#include <string>
#include <thread>
#include <utility>

namespace tool {

/// Writes lines to standard output and standard error for threads that must not wait for whoever
/// reads it.
///
/// Threads: write from any. A thread of its own prints; it is started by the constructor, woken by
/// write, and joined by finish, which must be called.
/// Errors: output that fails ends the printing. Standard error has nobody to tell it to: what it
/// does not take is dropped.
/// Limits: kMostWaiting lines and kMostWaitingBytes wait; of what comes beyond, the end tells how
/// many were lost.
class LineWriter
{
public:
    static constexpr std::size_t kMostWaiting = 100000;
    static constexpr std::size_t kMostWaitingBytes = 16 * 1024 * 1024;

    enum class Stream
    {
        Output,
        Error
    };

    ///   usualStream   where lines go that are given none.
    explicit LineWriter(Stream usualStream = Stream::Output);
    LineWriter(const LineWriter&) = delete;
    LineWriter& operator=(const LineWriter&) = delete;

    /// Takes a line with its end. Returns at once, false when it is lost. Lines come out in the
    /// order of the calls, on both streams together.
    ///
    ///   lines   as how many it counts when it is lost, for several in one.
    bool write(std::string line) { return write(std::move(line), usual); }
    bool write(std::string line, Stream stream, unsigned long lines = 1);

    /// For what is replaced by the next: takes a line only when none waits. Returns whether it did.
    bool writeIfIdle(std::string line);

    /// For threads that may wait: until half of the room is free, at most for so long. Returns
    /// whether it is.
    bool waitForRoom(std::chrono::milliseconds limit);

    /// The same, until all that was taken so far is printed.
    bool waitUntilPrinted(std::chrono::milliseconds limit);

    /// Whether standard output takes nothing any more. zu::Interrupt is notified of it.
    bool hasFailed();

    /// Waits until all lines are printed. Rethrows what went wrong with that. When standard output
    /// stands still for a second, ends the process with ExitCode::File: what blocks in there cannot
    /// be woken.
    void finish();

    /// The same, but when it stands still returns false, and the caller is to end the process by
    /// std::quick_exit. Throws nothing.
    bool tryFinish();

    /// The notice that standard output stands still; with its end.
    static constexpr const char* kStuckNotice =
        "dm: standard output takes no more, the last lines are lost\n";

    // After finish or tryFinish:

    /// The notice of lines that were lost, with its end; "" when none was.
    std::string lossNotice();
    std::exception_ptr getFailure();

private:
    struct Line
    {
        std::string text;
        Stream stream = Stream::Output;
    };

    void run();
    void printAll();
    Line takeBatch();

    const Stream usual;
    std::mutex mutex;
    std::condition_variable changed;
    std::deque<Line> waiting;
    std::size_t waitingBytes = 0;
    unsigned long printed = 0; // counts batches
    unsigned long lost = 0;
    bool isPrinting = false;
    bool isFinishing = false;
    bool hasEnded = false;
    std::exception_ptr failure;

    std::thread thread; // last: it uses all of the above
};

} // namespace tool
