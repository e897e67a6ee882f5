/// How figures are taken from what serves files.
#pragma once

#include "bench/Row.h"
#include "bench/contenders/FileContenders.h"

namespace bench {

/// Questions whether a file exists, a second.
double questionsPerSecond(const FileContender& contender, const Settings& settings);

/// Small files opened, read and closed, a second.
double smallFilesPerSecond(const FileContender& contender, const Settings& settings);

/// The large file read from its beginning to its end in parts of so many bytes, in MB a second.
double readMegabytesPerSecond(const FileContender& contender, const Settings& settings,
                              size_t partBytes);

/// What passes of some work do on average a second: whole ones until the time is over, at least
/// one. `pass` returns how much it has done; what it takes to check that is its own affair, since
/// only `inside` what it hands to the stopwatch counts.
class Stopwatch
{
public:
    template <typename Work>
    void inside(Work work)
    {
        const auto start = Clock::now();
        work();
        elapsed += Clock::now() - start;
    }

    double seconds() const { return std::chrono::duration<double>(elapsed).count(); }

private:
    using Clock = std::chrono::steady_clock;

    Clock::duration elapsed{};
};

template <typename Pass>
double perSecond(const Settings& settings, Pass pass)
{
    Stopwatch warming;
    do
        pass(warming);
    while (warming.seconds() < settings.warmUpSeconds);
    Stopwatch watch;
    double amount = 0;
    do
        amount += pass(watch);
    while (watch.seconds() < settings.seconds);
    return amount / watch.seconds();
}

} // namespace bench
