#include "tools/dm/ProgressLine.h"

#include <zul/Terminal.h>

#include <cstdio>

namespace tool {

using namespace std::chrono_literals;

namespace {

constexpr auto kWorthShowing = 1s;
constexpr auto kBetweenUpdates = 100ms;

} // namespace

ProgressLine::ProgressLine(Mode mode)
    : shownWhen(mode == Mode::Automatic && !zu::isTerminal(zu::StandardStream::Error) ? Mode::Never
                                                                                      : mode)
{
}

bool ProgressLine::isDue(Clock::time_point started, bool moved, Clock::time_point now) const
{
    if (shownWhen == Mode::Never || now - lastShown < kBetweenUpdates)
        return false;
    return shownWhen == Mode::Always ? moved : now - started >= kWorthShowing;
}

void ProgressLine::show(const std::string& text, Clock::time_point now)
{
    lastShown = now;
    if (shownWhen == Mode::Always) {
        std::fprintf(stderr, "%s\n", text.c_str());
        return;
    }
    // One column less than there are: a full line would scroll.
    const size_t width = zu::terminalWidth(zu::StandardStream::Error) - 1;
    std::fprintf(stderr, "\r%s\x1b[K", text.substr(0, width).c_str());
    isShown = true;
}

void ProgressLine::clear()
{
    if (isShown)
        std::fputs("\r\x1b[K", stderr);
    isShown = false;
}

} // namespace tool
