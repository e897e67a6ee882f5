#pragma once

#include "tools/dm/Files.h"
#include "tools/monitor/MonitorEvent.h"
#include "tools/monitor/TraceExport.h"

#include <atomic>
#include <exception>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

namespace tool {

/// Gives events to several outputs, in their order. When one throws, it is the end for all: the
/// exception is kept and the program's zu::Interrupt is notified.
///
/// Threads: take on one, the rest on any. The outputs must outlive it.
class WatchOutputs : public monitor::MonitorOutput
{
public:
    void add(monitor::MonitorOutput& output) { outputs.push_back(&output); }

    void take(monitor::MonitorEvents events) override;

    bool hasFailed() const { return failed; }
    void rethrow();

private:
    std::vector<monitor::MonitorOutput*> outputs; // does not change once events come
    std::atomic<bool> failed{false};
    std::exception_ptr failure; // written before failed is set
};

/// Knows how the connection stands, and sends what the command line says with the first one.
///
/// Threads: take on one, the rest on any.
class WatchProgress : public monitor::MonitorOutput
{
public:
    /// Called at each connection, by take, until it has returned true.
    explicit WatchProgress(std::function<bool()> greeting)
        : greet(std::move(greeting))
    {
    }

    void take(monitor::MonitorEvents events) override;

    bool wasConnected() const { return connectedOnce; }

    /// Whether the greeting was sent.
    bool wasGreeted() const { return greeted; }

    /// Whether something that is no monitor listens there, and never was one.
    bool isForeign() const { return foreign; }

    /// Why there is no connection, or none of a monitor's; "" if nothing was heard of it.
    std::string reason() const;

private:
    const std::function<bool()> greet;
    std::atomic<bool> connectedOnce{false};
    std::atomic<bool> foreign{false};
    std::atomic<bool> greeted{false};
    bool hasBrought = false; // anything that a monitor sends; take's only

    mutable std::mutex mutex;
    std::string lastReason; // under mutex
};

/// Gathers the profiles that come, for a trace file.
class WatchTrace : public monitor::MonitorOutput
{
public:
    /// Makes the file's place: a wrong name shows now.
    explicit WatchTrace(const std::string& path);

    void take(monitor::MonitorEvents events) override;

    /// Writes the file. Throws ToolError when no profile has come. Nobody calls take any more.
    ///
    /// Returns what is in it, for the person who called.
    std::string finish();

private:
    std::string whyEmpty() const;

    const std::string path;
    OutputFile file;
    monitor::TraceExport trace;
    unsigned long profiles = 0; // all that came
    unsigned long unreadable = 0;
};

} // namespace tool
