#pragma once

#include <dm/console.h>

#include <deque>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>

namespace sandbox {

/// Where the game's words go: to the console, to the tools that watch, and into a transcript.
///
/// Texts are whole lines in Latin-1, with or without a line end; none is ever taken for a format. A
/// zero byte is shown as '?'.
///
/// Threads: any for print; the rest on the main thread.
/// Ownership: the console is borrowed.
class Output
{
public:
    /// The transcript keeps as many as the console does.
    static constexpr size_t kMaxLines = dm::kMaxConsoleLines;

    explicit Output(dm::Console& shownOn)
        : console(shownOn)
    {
    }

    /// To standard output as well, from here on. Before others print.
    void copyToStandardOutput() { isCopied = true; }

    void print(std::string_view text);

    /// Into the transcript only: the console itself shows what is typed.
    void note(std::string_view line);

    /// Since the start, oldest first, each with its line end.
    std::string transcript() const;

    /// How many lines have been printed, and whether one of those after so many has this in it.
    size_t printedCount() const;
    bool hasPrinted(std::string_view text, size_t after) const;

    /// What this thread prints from here to endCapture is returned as well.
    void beginCapture();
    std::string endCapture();

private:
    struct Line
    {
        std::string text;
        bool isPrinted; // not only noted
    };

    void keep(Line line);

    dm::Console& console;
    bool isCopied = false;

    mutable std::mutex mutex; // guards what follows
    std::deque<Line> lines;
    size_t printed = 0; // lines, also those no longer kept
    std::string captured;
    std::thread::id capturing;
};

} // namespace sandbox
