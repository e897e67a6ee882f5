#include "bench/contenders/Contenders.h"

#include <array>
#include <atomic>
#include <cstring>
#include <thread>

namespace bench {
namespace {

using Frame = std::array<char, kSmallBytes>;
using Clock = std::chrono::steady_clock;

/// Yields the processor until its time is used up; a time of 0 never yields.
class YieldTime
{
public:
    explicit YieldTime(std::chrono::microseconds limit)
        : length(limit)
    {
        restart();
    }

    void restart()
    {
        if (length.count() > 0)
            end = Clock::now() + length;
    }

    bool yield() const
    {
        if (length.count() == 0 || Clock::now() >= end)
            return false;
        std::this_thread::yield();
        return true;
    }

private:
    std::chrono::microseconds length;
    Clock::time_point end;
};

/// Hands one frame at a time from one thread to another. The giver learns whether the taker sleeps
/// from the word that it changes anyway, so nobody is woken who does not sleep.
class Slot
{
public:
    /// Returns true when the taker must be woken.
    bool put(const Frame& from)
    {
        frame = from;
        return state.exchange(kFull, std::memory_order_acq_rel) == kSleeping;
    }

    bool tryTake(Frame& to)
    {
        if (state.load(std::memory_order_acquire) != kFull)
            return false;
        to = frame;
        state.store(kEmpty, std::memory_order_relaxed);
        return true;
    }

    /// Announces that the taker is about to sleep; false when there is a frame to take instead.
    bool beginSleep()
    {
        uint32_t expected = kEmpty;
        return state.compare_exchange_strong(expected, kSleeping) || expected == kSleeping;
    }

    void endSleep()
    {
        uint32_t expected = kSleeping;
        state.compare_exchange_strong(expected, kEmpty);
    }

    void block() { blockOnWord(state, kSleeping); }
    void wake() { wakeWordWaiter(state); }

private:
    static constexpr uint32_t kEmpty = 0;
    static constexpr uint32_t kFull = 1;
    static constexpr uint32_t kSleeping = 2;

    std::atomic<uint32_t> state{kEmpty};
    Frame frame{};
};

/// One end: a socket with a thread that does all its I/O, and a slot in each direction. The owner
/// sends and receives in turn, from one thread. Lives until the process ends or the peer closes.
class HopEnd
{
public:
    HopEnd(TcpStream connected, std::chrono::microseconds yieldTime)
        : stream(std::move(connected))
        , wait(stream)
        , yieldLimit(yieldTime)
    {
        stream.setBlocking(false);
        ioThread = std::thread([this] { runIo(); });
    }

    ~HopEnd()
    {
        stopping = true;
        wait.wake();
        ioThread.join();
    }

    void send(const Frame& frame)
    {
        if (outbox.put(frame))
            wait.wake();
    }

    void receive(Frame& frame)
    {
        YieldTime yielding(yieldLimit);
        while (!inbox.tryTake(frame)) {
            if (!yielding.yield() && inbox.beginSleep())
                inbox.block();
        }
    }

private:
    void runIo()
    {
        const bool yields = yieldLimit.count() > 0;
        YieldTime yielding(yieldLimit);
        bool readable = false;
        while (!stopping) {
            bool worked = sendQueued();
            if (yields || readable)
                worked |= receiveQueued();
            readable = false;
            if (worked)
                yielding.restart();
            if (yielding.yield())
                continue;
            readable = sleep();
        }
    }

    bool sendQueued()
    {
        Frame frame;
        if (!outbox.tryTake(frame))
            return false;
        if (!stream.sendAll(frame.data(), frame.size()))
            stopping = true;
        return true;
    }

    bool receiveQueued()
    {
        // Longer than what may be under way, so that one read always empties the socket.
        char bytes[2 * kSmallBytes];
        const long received = stream.receiveSome(bytes, sizeof bytes);
        if (received < 0)
            stopping = true;
        for (long i = 0; i < received; ++i) {
            partial[filled++] = bytes[i];
            if (filled == partial.size())
                deliver();
        }
        return received > 0;
    }

    void deliver()
    {
        filled = 0;
        if (inbox.put(partial))
            inbox.wake();
    }

    bool sleep()
    {
        if (!outbox.beginSleep())
            return false;
        const bool readable = wait.wait();
        outbox.endSleep();
        return readable;
    }

    TcpStream stream;
    SocketWait wait;
    std::chrono::microseconds yieldLimit;
    Slot outbox;
    Slot inbox;
    std::atomic<bool> stopping{false};
    // I/O thread only.
    Frame partial{};
    size_t filled = 0;

    std::thread ioThread;
};

std::chrono::microseconds yieldTime(const Setup& setup)
{
    return std::chrono::microseconds(setup.yieldMicroseconds);
}

class HopClient : public Client
{
public:
    HopClient(uint16_t port, const Setup& setup)
        : end(TcpStream::connect(port), yieldTime(setup))
    {
    }

    size_t ask(std::span<char> answer) override
    {
        Frame frame{};
        end.send(frame);
        end.receive(frame);
        std::memcpy(answer.data(), frame.data(), frame.size());
        return frame.size();
    }

private:
    HopEnd end;
};

void answerForever(TcpStream stream, std::chrono::microseconds yieldLimit)
{
    HopEnd end(std::move(stream), yieldLimit);
    for (Frame frame;;) {
        end.receive(frame);
        end.send(frame);
    }
}

void serveHops(const Setup& setup)
{
    TcpListener listener;
    announcePort(listener.port());
    for (;;)
        std::thread(answerForever, listener.accept(), yieldTime(setup)).detach();
}

} // namespace

RequestContender hopLimit()
{
    return {"limit", serveHops, [](uint16_t port, const Setup& setup) {
                return std::unique_ptr<Connection>(new SeparateClients<HopClient>(port, setup));
            }};
}

} // namespace bench
