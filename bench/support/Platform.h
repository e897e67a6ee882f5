/// What the benchmarks need of the operating system but for processes, which are in Processes.h;
/// nothing else here names it.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>

namespace bench {

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

/// Makes room for so many descriptors; throws when the hard limit is lower.
void raiseDescriptorLimit(unsigned descriptors);

/// Brings to the disk what has been written to the file system that holds `path`, so that nothing
/// is left to be written while something is measured.
void flushFileSystem(const std::string& path);

/// A file of this machine, read by position.
class LocalFile
{
public:
    explicit LocalFile(const std::string& path);
    ~LocalFile();
    LocalFile(const LocalFile&) = delete;
    LocalFile& operator=(const LocalFile&) = delete;

    /// Reads as much as there is; throws when that fails.
    size_t read(uint64_t position, void* buffer, size_t size) const;

private:
    int fd = -1;
};

/// Address space for `size` bytes, a multiple of kAliasBytes, with only kAliasBytes of memory
/// behind it, over and over: for receiving what nobody looks at.
class AliasedBuffer
{
public:
    static constexpr size_t kAliasBytes = 16 << 20;

    explicit AliasedBuffer(size_t size);
    ~AliasedBuffer();
    AliasedBuffer(const AliasedBuffer&) = delete;
    AliasedBuffer& operator=(const AliasedBuffer&) = delete;

    char* data() { return start; }

private:
    char* start = nullptr;
    size_t byteCount;
};

} // namespace bench
