#include "tools/dm/ProgressMeter.h"

#include <zul/Terminal.h>

#include <array>
#include <cstdio>

namespace tool {

using namespace std::chrono_literals;

namespace {

constexpr auto kWorthShowing = 1s;
constexpr auto kBetweenUpdates = 100ms;

std::string withOneDecimal(double number, const char* unit)
{
    std::array<char, 64> text;
    std::snprintf(text.data(), text.size(), "%.1f %s", number, unit);
    return text.data();
}

} // namespace

ProgressMeter::ProgressMeter(Mode mode)
    : shownWhen(mode == Mode::Automatic && !zu::isTerminal(zu::StandardStream::Error) ? Mode::Never
                                                                                      : mode)
{
}

void ProgressMeter::update(const dm::TransferProgress& progress, Clock::time_point now)
{
    if (shownWhen == Mode::Never || !progress.active)
        return;
    const bool nowReceiving = progress.receiveTotal != 0;
    const std::uint32_t nowBytes = nowReceiving ? progress.receivedBytes : progress.sentBytes;
    const std::uint32_t total = nowReceiving ? progress.receiveTotal : progress.sendTotal;
    // Fewer bytes than before: it began anew on another connection.
    if (started == Clock::time_point() || nowReceiving != receiving || nowBytes < bytes)
        started = now;
    const bool moved = nowBytes != bytes || nowReceiving != receiving;
    receiving = nowReceiving;
    bytes = nowBytes;
    if (total == 0 || bytes == 0 || !isDue(now) || (shownWhen == Mode::Always && !moved))
        return;
    lastShown = now;
    const std::chrono::duration<double> elapsed = now - started;
    show(describeProgress(bytes, total, receiving, elapsed.count()));
}

bool ProgressMeter::isDue(Clock::time_point now) const
{
    const bool isWorthShowing = shownWhen == Mode::Always || now - started >= kWorthShowing;
    return isWorthShowing && now - lastShown >= kBetweenUpdates;
}

void ProgressMeter::show(const std::string& line)
{
    if (shownWhen == Mode::Always) {
        std::fprintf(stderr, "%s\n", line.c_str());
        return;
    }
    // One column less than there are: a full line would scroll.
    const size_t width = zu::terminalWidth(zu::StandardStream::Error) - 1;
    std::fprintf(stderr, "\r%s\x1b[K", line.substr(0, width).c_str());
    lineShown = true;
}

void ProgressMeter::clear()
{
    if (lineShown)
        std::fputs("\r\x1b[K", stderr);
    lineShown = false;
}

std::string describeProgress(std::uint32_t bytes, std::uint32_t total, bool receiving,
                             double seconds)
{
    std::string line =
        describeSize(bytes) + " of " + describeSize(total) + (receiving ? " received" : " sent");
    if (seconds <= 0)
        return line;
    const double rate = bytes / seconds;
    line += ", " + withOneDecimal(rate / 1e6, "MB/s");
    if (rate > 0)
        line += ", " + std::to_string(static_cast<long>((total - bytes) / rate + 0.5)) + " s left";
    return line;
}

std::string describeSize(double bytes)
{
    if (bytes < 1e3)
        return std::to_string(static_cast<int>(bytes)) + " bytes";
    if (bytes < 1e6)
        return withOneDecimal(bytes / 1e3, "kB");
    if (bytes < 1e9)
        return withOneDecimal(bytes / 1e6, "MB");
    return withOneDecimal(bytes / 1e9, "GB");
}

} // namespace tool
