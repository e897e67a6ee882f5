/// What the benchmarks need of the operating system; nothing else here names it.
#pragma once

#include <array>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace bench {

/// A second copy of this program that serves what the first one measures. Stopped by the
/// destructor.
class ServerProcess
{
public:
    /// Runs this program with `arguments` and waits until it has told its port.
    explicit ServerProcess(const std::vector<std::string>& arguments);
    ~ServerProcess();
    ServerProcess(const ServerProcess&) = delete;
    ServerProcess& operator=(const ServerProcess&) = delete;

    uint16_t port() const { return tcpPort; }

    /// Processor time of all its threads so far.
    double cpuSeconds() const;

    /// Its memory in RAM, in MiB: now, and at most so far.
    double residentMegabytes() const { return statusMegabytes("VmRSS:"); }
    double peakMegabytes() const { return statusMegabytes("VmHWM:"); }

private:
    double statusMegabytes(const char* field) const;
    void readPort();

    int pid = -1;
    int toChild = -1;
    int fromChild = -1;
    uint16_t tcpPort = 0;
};

/// For the served side: tells the starting process the port.
void announcePort(unsigned port);
/// For the served side: ends this process as soon as the starting one lets go of it.
void exitWithStarter();

/// A TCP connection with TCP_NODELAY on the loopback address.
class TcpStream
{
public:
    TcpStream() = default;
    explicit TcpStream(int descriptor)
        : fd(descriptor)
    {
    }
    TcpStream(TcpStream&& other) noexcept;
    TcpStream& operator=(TcpStream&& other) noexcept;
    ~TcpStream();

    static TcpStream connect(uint16_t port);

    void setBlocking(bool blocking);
    /// Sends all of it, waiting as needed in either mode. False when the connection is lost.
    bool sendAll(const void* data, size_t size);
    /// Receives exactly `size` bytes on a blocking stream. False when the connection is lost.
    bool receiveAll(void* data, size_t size);
    /// Receives what is there: its size, 0 for nothing yet, -1 when the connection is lost.
    long receiveSome(void* data, size_t size);
    int descriptor() const { return fd; }

private:
    int fd = -1;
};

class TcpListener
{
public:
    TcpListener();
    ~TcpListener();
    uint16_t port() const { return tcpPort; }
    TcpStream accept();

private:
    int fd = -1;
    uint16_t tcpPort = 0;
};

/// One thread's wait for a socket and for calls from other threads, without a needless system
/// call: both are edge-triggered, so the wake-up descriptor is never read back.
class SocketWait
{
public:
    explicit SocketWait(const TcpStream& stream);
    ~SocketWait();
    SocketWait(const SocketWait&) = delete;
    SocketWait& operator=(const SocketWait&) = delete;

    /// Waits for either; true when the socket was readable.
    bool wait();
    void wake();

private:
    int epoll = -1;
    int wakeEvent = -1;
};

/// Blocks while `word` holds `expected`; may return early.
void blockOnWord(std::atomic<uint32_t>& word, uint32_t expected);
void wakeWordWaiter(std::atomic<uint32_t>& word);

/// Keeps this process to the first core and those that it starts from now on to the last. To be
/// called on the thread that starts them, before there are others.
void pinProcesses();

/// Makes room for so many descriptors; throws when the hard limit is lower.
void raiseDescriptorLimit(unsigned descriptors);

/// The number of calls of each system call that `arguments`, a command line of this program, makes
/// with all its threads and children. Throws with a readable reason where tracing is not possible.
struct SystemCall
{
    std::string name;
    double calls = 0;
};
std::vector<SystemCall> countSystemCalls(const std::vector<std::string>& arguments);

} // namespace bench
