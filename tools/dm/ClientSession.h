#pragma once

#include "tools/dm/Arguments.h"
#include "tools/dm/InactivityClock.h"
#include "tools/dm/ProgressMeter.h"

#include <dm/comm.h>
#include <zul/Interrupt.h>

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
};

/// One pipe to one program, for a command that must never hang.
///
/// Patience is counted in inactivity: getting connected, getting the pipe, and every byte of a
/// transfer start it anew; a connection that comes back does not, or a program that dies of each
/// request would be asked for ever.
///
/// Threads: the main thread, which watches; work that blocks runs on a thread of its own.
class ClientSession
{
public:
    explicit ClientSession(const SessionOptions& options);
    ~ClientSession() { close(); }
    ClientSession(const ClientSession&) = delete;
    ClientSession& operator=(const ClientSession&) = delete;

    dm::CommunicationPipe& getPipe() { return *pipe; }
    dm::ConnectionStatus status() const;

    /// Runs one sendRequest on the pipe to its end, and what is around it. Throws ToolError when it
    /// is interrupted or patience runs out; the pipe is closed then, which ends the work.
    void run(const std::function<void(dm::CommunicationPipe&)>& work);

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
    ProgressMeter meter;
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
};

} // namespace tool
