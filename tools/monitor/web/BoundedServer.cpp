#include "tools/monitor/web/BoundedServer.h"

#include <algorithm>

namespace monitor {

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

// So long a thread waits for a connection before it looks whether to wait on.
constexpr auto kReadStep = 10ms;
constexpr auto kWriteStep = 100ms;
// A write that fails sooner has not waited: the connection is gone.
constexpr auto kWriteWaited = kWriteStep / 2;

// When the connection that this thread serves was accepted.
thread_local Clock::time_point t_acceptedAt;

} // namespace

// Tells how many wait, and each how long it has.
class BoundedServer::Queue : public httplib::ThreadPool
{
public:
    Queue(std::size_t threads, std::atomic<int>& count)
        : ThreadPool(threads)
        , waiting(count)
    {
    }

    void enqueue(std::function<void()> serve) override
    {
        ++waiting;
        ThreadPool::enqueue([this, serve = std::move(serve), acceptedAt = Clock::now()] {
            --waiting;
            t_acceptedAt = acceptedAt;
            serve();
        });
    }

private:
    std::atomic<int>& waiting;
};

// A connection as the library made it, whose waits are in steps.
class BoundedServer::Connection : public httplib::Stream
{
public:
    Connection(BoundedServer& boundedServer, Stream& libraryStream)
        : server(boundedServer)
        , stream(libraryStream)
        , bytesLeft(server.maxRequestBytes)
    {
    }

    ssize_t read(char* bytes, std::size_t size) override
    {
        // Also one that always has something to say has its time and no more.
        while (bytesLeft > 0 && isInTime(kRequestTime)) {
            const ssize_t count = readOnce(bytes, std::min(size, bytesLeft));
            if (count > 0)
                bytesLeft -= static_cast<std::size_t>(count);
            if (count != 0)
                return count;
            if (server.waiting > 0 && !isInTime(kPatience))
                break;
        }
        return -1;
    }

    ssize_t write(const char* bytes, std::size_t size) override
    {
        return whenWritable([&] { return stream.write(bytes, std::min(size, kMaxWrittenBytes)); });
    }

    bool is_writable() const override
    {
        return whenWritable([&] { return stream.is_writable() ? 1 : -1; }) > 0;
    }

    bool is_readable() const override { return stream.is_readable(); }
    void get_remote_ip_and_port(std::string& ip, int& port) const override
    {
        stream.get_remote_ip_and_port(ip, port);
    }
    void get_local_ip_and_port(std::string& ip, int& port) const override
    {
        stream.get_local_ip_and_port(ip, port);
    }
    socket_t socket() const override { return stream.socket(); }

private:
    // Of one write, so that a stop is seen in between.
    static constexpr std::size_t kMaxWrittenBytes = 64 * 1024;

    // 0 when nothing came within a step; negative at the end, which the library does not tell from
    // a failure either.
    ssize_t readOnce(char* bytes, std::size_t size)
    {
        ssize_t count = stream.read(bytes, size);
        if (count < 0 && !stream.is_readable())
            return 0;
        if (count < 0)
            count = stream.read(bytes, size); // it came just now, or this fails again
        return count > 0 ? count : -1;
    }

    bool isInTime(std::chrono::milliseconds limit) const
    {
        return !server.isStopping && Clock::now() - t_acceptedAt < limit;
    }

    template <class Write>
    ssize_t whenWritable(Write write) const
    {
        const auto end = Clock::now() + kStalledTime;
        while (!server.isStopping) {
            const auto start = Clock::now();
            const ssize_t count = write();
            if (count >= 0)
                return count;
            const auto now = Clock::now();
            if (now >= end || now - start < kWriteWaited)
                break;
        }
        return -1;
    }

    BoundedServer& server;
    Stream& stream;
    std::size_t bytesLeft;
};

BoundedServer::BoundedServer(std::size_t threads, std::size_t maxBytes)
    : maxRequestBytes(maxBytes)
{
    new_task_queue = [this, threads] { return new Queue(threads, waiting); };
    set_read_timeout(kReadStep);
    set_write_timeout(kWriteStep);
}

void BoundedServer::stop()
{
    isStopping = true;
    Server::stop();
}

bool BoundedServer::process_and_close_socket(socket_t socket)
{
    constexpr auto toMicroseconds = [](auto time) {
        return static_cast<time_t>(std::chrono::microseconds(time).count());
    };
    // One request a connection: an idle one would hold a thread.
    const auto serve = [this](httplib::Stream& stream) {
        Connection connection(*this, stream);
        bool isClosed = false;
        return process_request(connection, true, isClosed, nullptr);
    };
    const bool isServed =
        !isStopping && httplib::detail::process_client_socket(socket, 0, toMicroseconds(kReadStep),
                                                              0, toMicroseconds(kWriteStep), serve);
    httplib::detail::close_socket(socket);
    return isServed;
}

} // namespace monitor
