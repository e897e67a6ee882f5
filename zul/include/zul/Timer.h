/// Elapsed time in seconds, unaffected by changes of the wall clock.
#pragma once

#include <zul/export.h>

#include <chrono>

namespace zu {

class ZUL_API Timer
{
public:
    /// Starts at once.
    Timer() { start(); }

    /// Begins again from zero; restart() is the same under a telling name.
    void start() { begin = std::chrono::steady_clock::now(); }
    void restart() { start(); }

    /// Seconds since the last start.
    double getElapsed() const { return std::chrono::duration<double>(sinceStart()).count(); }

    /// Seconds since the library was loaded; always above zero.
    static double getAppAge();

private:
    std::chrono::steady_clock::duration sinceStart() const
    {
        return std::chrono::steady_clock::now() - begin;
    }

    std::chrono::steady_clock::time_point begin;
};

} // namespace zu
