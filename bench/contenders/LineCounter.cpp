#include "bench/contenders/LineCounter.h"

#include <chrono>
#include <stdexcept>
#include <thread>

namespace bench {

using Clock = std::chrono::steady_clock;

LineCounter::LineCounter(TcpListener& listener)
    : stream(listener.accept())
{
}

void LineCounter::count(uint64_t lines)
{
    total += lines;
    if (lines > 0)
        stream.sendAll(&total, sizeof total);
}

LineCount::LineCount(uint16_t port)
    : stream(TcpStream::connect(port))
{
    stream.setBlocking(false);
}

void LineCount::await(uint64_t lines)
{
    constexpr std::chrono::seconds kLimit{5};
    Clock::time_point deadline = Clock::now() + kLimit;
    while (counted < lines) {
        uint64_t totals[64];
        const long bytes = stream.receiveSome(totals, sizeof totals);
        if (bytes < 0)
            throw std::runtime_error("the receiving process is gone");
        if (bytes == 0) {
            if (Clock::now() > deadline)
                throw std::runtime_error("lines have stayed away");
            std::this_thread::sleep_for(std::chrono::microseconds(100));
            continue;
        }
        // Totals are sent whole, and small enough to arrive whole on one machine.
        counted = totals[static_cast<size_t>(bytes) / sizeof *totals - 1];
        deadline = Clock::now() + kLimit;
    }
}

} // namespace bench
