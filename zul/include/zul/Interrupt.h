/// A wish to stop: Ctrl-C, a polite kill, the end of the terminal, or the program's own.
///
/// For programs that must tidy up before they end. The first signal only raises the flag; a second
/// one of the same kind ends the program the system's way, so a stuck clean-up can be cut short.
///
///     zu::Interrupt& interrupt = zu::Interrupt::get();
///     std::thread worker([&] { work(); interrupt.notify(); });
///     while (!done && !interrupt.isRaised())
///         interrupt.waitFor(100);
///
/// A program that runs for long may also let people ask how it stands, without stopping it:
///
///     interrupt.catchStatusRequests();
///     while (!interrupt.waitFor(kLongMs))
///         if (interrupt.takeStatusRequest())
///             printStatistics();
///
/// Not for libraries: signals belong to the program.
///
/// Threads: any, except that one thread at a time calls waitFor.
/// Errors: get throws zu::Exception when the system has no descriptor left.
#pragma once

#include <zul/Types.h>
#include <zul/WaitHandle.h>
#include <zul/export.h>

namespace zu {

class ZUL_API Interrupt
{
public:
    /// The process's only one. The first call catches the signals; an interrupt that was ignored
    /// when the program started, as for a job in the background, stays ignored.
    static Interrupt& get();

    bool isRaised() const;

    /// Does what a signal does.
    void raise();

    /// Ends a waitFor without raising: something else is to be looked at. Kept when nobody waits.
    void notify() { notified.set(); }

    /// Waits until raised, notified, or timeoutMs have passed. Returns isRaised().
    bool waitFor(u32 timeoutMs);

    /// Ready from the moment it is raised, for good.
    WaitHandle getWaitHandle() const;

    /// From now on the system's way of asking a program how it stands (SIGUSR1, where there is
    /// one) ends a waitFor. Before, it ends the program.
    void catchStatusRequests();

    /// Whether somebody has asked since the last call.
    bool takeStatusRequest();

    /// From now on, printing to a pipe that nobody reads any more fails. Before, it ends the
    /// program: for one that still has to put away something else.
    void surviveBrokenPipes();

    Interrupt(const Interrupt&) = delete;
    Interrupt& operator=(const Interrupt&) = delete;

private:
    Interrupt();
    ~Interrupt() = default; // never runs: a signal may come until the very end

    PollableEvent notified;
};

} // namespace zu
