#pragma once

#include "tools/dm/Arguments.h"
#include "tools/dm/InactivityClock.h"
#include "tools/dm/ProgressMeter.h"

#include <dm/comm.h>
#include <zul/Interrupt.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

namespace tool {

struct SessionOptions
{
    Address address;
    std::string pipeName;
    std::chrono::milliseconds timeout{5000};
    ProgressMeter::Mode progress = ProgressMeter::Mode::Automatic;
    bool isHub = false;                  // the address is a hub's
    std::optional<std::uint32_t> member; // of the hub

    // Who answers at the address sends everybody on to where the pipe is, as hubs do.
    bool sendsOn = false;
};

/// One pipe to one program, for a command that must never hang.
///
/// Patience is counted in inactivity: getting connected, getting the pipe, and every byte of a
/// transfer start it anew; a connection that comes back does not, or a program that dies of each
/// request would be asked for ever.
///
/// Threads: the main thread, which watches; work that blocks runs on a thread of its own, which may
/// call noteStep and isEnding.
class ClientSession
{
public:
    ///   meter   shows the progress instead of a ProgressMeter; lent.
    explicit ClientSession(const SessionOptions& options, Meter* meter = nullptr);
    ~ClientSession() { close(); }
    ClientSession(const ClientSession&) = delete;
    ClientSession& operator=(const ClientSession&) = delete;

    dm::CommunicationPipe& getPipe() { return *pipe; }
    dm::ConnectionStatus status() const;

    /// Runs one sendRequest on the pipe to its end, and what is around it. Throws ToolError when it
    /// is interrupted or patience runs out; the pipe is closed then, which ends the work.
    void run(const std::function<void(dm::CommunicationPipe&)>& work);

    /// Runs work that makes any number of requests, one at a time, through what stands on the pipe;
    /// it need not be connected yet. Rethrows what the work throws.
    ///
    /// When it is interrupted or patience runs out: throws ToolError as run does. Before, isEnding
    /// becomes true, upon which the work is to tidy up and return. After an interrupt it may still
    /// use the pipe for that, for a moment; then the pipe is closed. Work that does not return even
    /// so, because nobody reads what it prints, ends the process.
    void runSeries(const std::function<void()>& work);

    /// For the work of runSeries: something was got done, so patience starts anew. It does so as
    /// well while nothing is asked: then it is not the other end that is awaited.
    void noteStep() { ++steps; }
    bool isEnding() const { return ending; }

    /// Waits until the condition holds; throws as run does.
    void waitUntil(const std::function<bool()>& condition);

    /// Waits until all that was queued has been handed to the system; throws as run does.
    bool flush();

private:
    void close();
    void look();
    void noticeConnection(const dm::ConnectionStatus& now);
    bool somethingHappened(const dm::ConnectionStatus& now, const dm::TransferProgress& progress);
    [[noreturn]] void giveUp(const dm::ConnectionStatus& now);

    const SessionOptions options;
    const std::string destination;
    zu::Interrupt& interrupt;
    ProgressMeter ownMeter;
    Meter& meter;
    InactivityClock clock;
    dm::CommunicationPipe* pipe = nullptr; // null once closed

    // As seen by the last look.
    enum Milestone
    {
        Nothing,
        Reached,  // the connection is up
        Welcomed, // the other end has answered
        Attached, // the pipe is open
    };
    int milestone = Nothing;
    bool lossNoticed = false;
    dm::uint32 bytesMoved = 0;
    std::uint64_t stepsSeen = 0;

    bool isSeries = false;
    std::atomic<std::uint64_t> steps{0};
    std::atomic<bool> ending{false};
};

} // namespace tool
