#include <zul/Exception.h>
#include <zul/Interrupt.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <unistd.h>

namespace zu {

namespace {

std::atomic<bool> s_raised{false};

// A byte that nobody takes out: readable once is readable for every waiter and for ever.
int s_readEnd = -1;
int s_writeEnd = -1;

// Also the signal handler's whole work: an atomic and a write are allowed there, little else is.
void raiseFlag()
{
    const int error = errno;
    if (!s_raised.exchange(true)) {
        const char byte = 1;
        [[maybe_unused]] const ssize_t written = ::write(s_writeEnd, &byte, 1);
    }
    errno = error;
}

extern "C" void handleInterruptSignal(int) { raiseFlag(); }

std::atomic<bool> s_statusRequested{false};

// As above: notify is an atomic and a write.
extern "C" void handleStatusSignal(int)
{
    const int error = errno;
    s_statusRequested = true;
    Interrupt::get().notify();
    errno = error;
}

void handleSignal(int signal, void (*handler)(int), int flags)
{
    struct sigaction action = {};
    action.sa_handler = handler;
    action.sa_flags = flags;
    sigemptyset(&action.sa_mask);
    ::sigaction(signal, &action, nullptr);
}

void catchSignal(int signal)
{
    struct sigaction previous = {};
    ::sigaction(signal, nullptr, &previous);
    if (previous.sa_handler != SIG_IGN)
        handleSignal(signal, handleInterruptSignal, static_cast<int>(SA_RESTART | SA_RESETHAND));
}

} // namespace

Interrupt& Interrupt::get()
{
    static Interrupt* const s_interrupt = new Interrupt;
    return *s_interrupt;
}

Interrupt::Interrupt()
{
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0) {
        Exception exception;
        exception.setError("cannot catch signals: no descriptor left (error %d)", errno);
        throw exception;
    }
    s_readEnd = ends[0];
    s_writeEnd = ends[1];
    catchSignal(SIGINT);
    catchSignal(SIGTERM);
    catchSignal(SIGHUP); // the terminal is gone
}

bool Interrupt::isRaised() const { return s_raised.load(); }

void Interrupt::raise() { raiseFlag(); }

bool Interrupt::waitFor(u32 timeoutMs)
{
    const WaitHandle handles[] = {getWaitHandle(), notified.getWaitHandle()};
    if (!isRaised())
        waitAny(handles, 2, timeoutMs);
    return isRaised();
}

void Interrupt::catchStatusRequests() { handleSignal(SIGUSR1, handleStatusSignal, SA_RESTART); }

bool Interrupt::takeStatusRequest() { return s_statusRequested.exchange(false); }

void Interrupt::surviveBrokenPipes() { handleSignal(SIGPIPE, SIG_IGN, 0); }

WaitHandle Interrupt::getWaitHandle() const
{
    WaitHandle handle;
    handle.native = s_readEnd;
    return handle;
}

} // namespace zu
