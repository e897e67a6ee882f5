/// Lines of text from a program to the tools that watch it, and the tools' side of that.
///
/// The measuring process prints; the tools are processes of their own.
#pragma once

#include "bench/contenders/Contenders.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace bench {

/// What every line looks like: its number and a text, 80 characters together.
inline constexpr unsigned kLineNumberDigits = 10;
inline constexpr char kLineText[] =
    "the quick brown fox jumps over the lazy dog, and the dog does not mind";
static_assert(kLineNumberDigits + sizeof kLineText - 1 == 80);

/// The end that prints.
class LinePrinter
{
public:
    virtual ~LinePrinter() = default;
    virtual void print(uint64_t number) = 0;
    /// Waits until the tool has counted everything printed. Throws when a line stays away.
    virtual void finish() = 0;
};

struct LineContender
{
    std::string name;
    std::unique_ptr<LinePrinter> (*start)() = nullptr;
};

/// Ours with one tool; spdlog with its tcp sink and a program that receives.
LineContender monitorLines();
LineContender spdlogLines();

/// Their tools; the port that one announces tells how many lines it has counted.
RequestContender monitorCounter();
RequestContender spdlogReceiver();

/// Tools of our monitor in a process: as many as setup.pipes, of the game at setup.hubPort. Those
/// that read take whatever comes; the others say hello and never read.
RequestContender monitorReaders();
RequestContender monitorStoppers();

/// A game with a monitor that prints 10 million lines once setup.pipes tools are there, and then
/// connects to setup.hubPort.
RequestContender monitorGame();

/// Our monitor in this process, from construction to destruction.
class MonitoredGame
{
public:
    MonitoredGame();
    ~MonitoredGame();
    MonitoredGame(const MonitoredGame&) = delete;
    MonitoredGame& operator=(const MonitoredGame&) = delete;

    /// Waits until so many tools have said hello since the last time. Throws when they do not.
    void awaitTools(unsigned count);

    /// Starts a process with so many tools. They are still to be awaited.
    ServerProcess startTools(const RequestContender& tools, unsigned count);
};

} // namespace bench
