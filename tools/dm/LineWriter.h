#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <exception>
#include <mutex>
#include <string>
#include <thread>

namespace tool {

/// Writes lines to standard output for threads that must not wait for whoever reads it.
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

    /// Takes a line with its end. Returns at once.
    void write(std::string line);

    /// Whether standard output takes nothing any more. zu::Interrupt is notified of it.
    bool hasFailed();

    /// Waits until all lines are printed. Rethrows what went wrong with that. When standard output
    /// stands still for a second, ends the process: what blocks in there cannot be woken.
    void finish();

private:
    void run();
    void printAll();

    std::mutex mutex;
    std::condition_variable changed;
    std::deque<std::string> waiting;
    unsigned long printed = 0;
    unsigned long lost = 0;
    bool isFinishing = false;
    bool hasEnded = false;
    std::exception_ptr failure;

    std::thread thread; // last: it uses all of the above
};

} // namespace tool
