#include "tools/dm/ClientSession.h"

#include "tools/dm/ConnectionWatch.h"
#include "tools/dm/ExitCode.h"
#include "tools/dm/Text.h"

#include <zul/Thread.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <future>
#include <thread>

namespace tool {

using namespace std::chrono_literals;

namespace {

constexpr const char* kManagerName = "dm";

// How often progress is looked at; whatever ends the wait says so by itself.
constexpr zu::u32 kLookMs = 25;

// What the end of a series may take to tidy up, with the pipe and once more without it.
constexpr auto kTidyUp = 1s;

} // namespace

ClientSession::ClientSession(const SessionOptions& sessionOptions, Meter* sharedMeter)
    : options(sessionOptions)
    , destination(sessionOptions.address.toString())
    , interrupt(zu::Interrupt::get())
    , ownMeter(sessionOptions.progress)
    , meter(sharedMeter != nullptr ? *sharedMeter : ownMeter)
    , clock(sessionOptions.timeout, InactivityClock::Clock::now())
{
    dm::CommunicationPipeManager* const manager = dm::initCommunicationManagerAsClient(
        kManagerName, options.address.host.c_str(), options.address.port);
    pipe = manager->getPipe(options.pipeName.c_str());
    pipe->setConnectionCallback({nullptr, wakeMainThread});
}

void ClientSession::close()
{
    if (pipe == nullptr)
        return;
    pipe = nullptr;
    dm::deinitCommunicationManager(kManagerName);
}

dm::ConnectionStatus ClientSession::status() const { return dm::getConnectionStatus(kManagerName); }

void ClientSession::run(const std::function<void(dm::CommunicationPipe&)>& work)
{
    std::atomic<bool> isDone{false};
    std::thread worker([&, target = pipe] {
        work(*target);
        isDone = true;
        interrupt.notify();
    });
    try {
        waitUntil([&] { return isDone.load(); });
    } catch (...) {
        // Closing wakes the worker out of its request, but it must have got that far: the pipe must
        // not go from under a call that is only about to begin.
        while (!isDone && !dm::getTransferProgress(pipe).active)
            zu::yieldThread();
        close();
        worker.join();
        throw;
    }
    worker.join();
}

void ClientSession::runSeries(const std::function<void()>& work)
{
    isSeries = true;
    std::promise<void> outcome;
    std::future<void> ended = outcome.get_future();
    std::thread worker([&] {
        try {
            work();
            outcome.set_value();
        } catch (...) {
            outcome.set_exception(std::current_exception());
        }
        interrupt.notify();
    });
    const auto endsWithin = [&](std::chrono::milliseconds time) {
        return ended.wait_for(time) == std::future_status::ready;
    };
    try {
        waitUntil([&] { return endsWithin(0ms); });
    } catch (const ToolError& error) {
        meter.clear();
        ending = true;
        if (error.code == ExitCode::Interrupted)
            endsWithin(kTidyUp);
        close();
        if (!endsWithin(kTidyUp)) {
            std::fprintf(stderr, "dm: %s\n", error.what());
            std::quick_exit(static_cast<int>(error.code));
        }
        worker.join();
        throw;
    }
    worker.join();
    ended.get();
}

void ClientSession::waitUntil(const std::function<bool()>& condition)
{
    while (!condition()) {
        look();
        interrupt.waitFor(kLookMs);
    }
    meter.clear();
}

bool ClientSession::flush()
{
    dm::FlushResult result{};
    waitUntil([&] {
        result = dm::flushCommunicationManager(kManagerName, kLookMs);
        return result != dm::FlushResult::TimedOut;
    });
    return result == dm::FlushResult::Flushed;
}

void ClientSession::look()
{
    if (interrupt.isRaised())
        throw ToolError(ExitCode::Interrupted, "interrupted");
    const dm::ConnectionStatus now = status();
    requireOwnVersion(now, destination);
    noticeConnection(now);
    const dm::TransferProgress progress = dm::getTransferProgress(pipe);
    const auto time = InactivityClock::Clock::now();
    clock.look(somethingHappened(now, progress), time);
    meter.update(progress, time);
    if (clock.isExpired())
        giveUp(now);
}

void ClientSession::noticeConnection(const dm::ConnectionStatus& now)
{
    // Who sends on greets, lets go and greets again elsewhere: what counts there is the pipe.
    const bool isLost = options.isHub || options.sendsOn
                            ? milestone >= Attached && !pipe->isConnected()
                            : milestone >= Welcomed && now.state != dm::ConnectionStatus::Connected;
    if (isLost == lossNoticed)
        return;
    lossNoticed = isLost;
    meter.clear();
    std::fprintf(stderr,
                 isLost ? "dm: lost the connection to %s, waiting for it to come back\n"
                        : "dm: connected to %s again\n",
                 destination.c_str());
}

bool ClientSession::somethingHappened(const dm::ConnectionStatus& now,
                                      const dm::TransferProgress& progress)
{
    int reached = Nothing;
    if (pipe->isConnected())
        reached = Attached;
    else if (now.connections > 0)
        reached = Welcomed;
    else if (now.state == dm::ConnectionStatus::Connected)
        reached = Reached;
    const dm::uint32 moved = progress.sentBytes + progress.receivedBytes;
    const std::uint64_t stepsNow = steps;
    const bool happened = reached > milestone || moved != bytesMoved || stepsNow != stepsSeen ||
                          (isSeries && !progress.active);
    stepsSeen = stepsNow;
    milestone = std::max(milestone, reached);
    bytesMoved = moved;
    return happened;
}

void ClientSession::giveUp(const dm::ConnectionStatus& now)
{
    const std::string patience = toString(options.timeout);
    const std::string reason = escapeControls(toStdString(now.lastFailure));
    const std::string because = reason.empty() ? "" : " (" + reason + ")";
    if (now.state != dm::ConnectionStatus::Connected && milestone < Welcomed)
        throw ToolError(ExitCode::CannotConnect,
                        "cannot connect to " + destination + " within " + patience + because +
                            ": is the program running, and listening there?");
    if (now.state != dm::ConnectionStatus::Connected && options.sendsOn && milestone < Attached)
        throw ToolError(ExitCode::CannotConnect,
                        destination +
                            " sends on to another port, but no connection came of that within " +
                            patience + because +
                            ": can this machine reach it, and has the server room for one more?");
    if (now.state != dm::ConnectionStatus::Connected)
        throw ToolError(ExitCode::LostConnection, "lost the connection to " + destination +
                                                      because +
                                                      ", and it did not come back within " +
                                                      patience + ": has the program ended?");
    if (milestone < Welcomed)
        throw ToolError(ExitCode::TimedOut,
                        destination + " takes connections but said nothing for " + patience +
                            ": `dm doctor " + destination + "` says what is there");
    if (!pipe->isConnected())
        throw ToolError(ExitCode::TimedOut, destination + " has not opened the pipe '" +
                                                options.pipeName + "' for " + patience +
                                                ": check the pipe's name");
    throw ToolError(ExitCode::TimedOut,
                    "no answer on the pipe '" + options.pipeName + "' of " + destination + " for " +
                        patience +
                        ": is the program busy or stopped, or does nobody in it serve a pipe of "
                        "that name? A longer --timeout waits on");
}

} // namespace tool
