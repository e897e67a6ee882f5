#pragma once

#include <chrono>
#include <string>

namespace tool {

/// A line on standard error that says how far something has come.
///
/// Automatic: on a terminal only, in one line that is rewritten, once it has lasted a second.
/// Always: for programs that follow along, one line an update.
///
/// Threads: one at a time.
class ProgressLine
{
public:
    enum class Mode
    {
        Automatic,
        Always,
        Never
    };
    using Clock = std::chrono::steady_clock;

    explicit ProgressLine(Mode mode);
    ~ProgressLine() { clear(); }
    ProgressLine(const ProgressLine&) = delete;
    ProgressLine& operator=(const ProgressLine&) = delete;

    bool isWanted() const { return shownWhen != Mode::Never; }

    /// Whether it is time for a line about what began then. `moved`: there is something new to say.
    bool isDue(Clock::time_point started, bool moved, Clock::time_point now) const;

    void show(const std::string& text, Clock::time_point now);

    /// Takes the line off the screen, before something else is written there.
    void clear();

private:
    const Mode shownWhen;
    bool isShown = false;
    Clock::time_point lastShown{};
};

} // namespace tool
