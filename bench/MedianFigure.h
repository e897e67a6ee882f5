/// How figures are taken from what is over in no time: again and again.
#pragma once

#include "bench/Report.h"

#include <chrono>
#include <utility>
#include <vector>

namespace bench {

/// The median of what `measure` returns, called until the time is over, at least once, after a
/// warm-up that does not count.
template <typename Measure>
double medianFigure(const Settings& settings, Measure measure)
{
    using Clock = std::chrono::steady_clock;
    const auto measureFor = [&](double seconds) {
        const auto end = Clock::now() + std::chrono::duration<double>(seconds);
        std::vector<double> figures;
        do
            figures.push_back(measure());
        while (Clock::now() < end);
        return median(std::move(figures));
    };
    measureFor(settings.warmUpSeconds);
    return measureFor(settings.seconds);
}

} // namespace bench
