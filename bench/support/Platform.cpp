#include "bench/support/Platform.h"

#include "bench/support/Checked.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cerrno>
#include <fcntl.h>
#include <linux/futex.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace bench {
namespace {

sockaddr_in loopback(uint16_t port)
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

void setNoDelay(int fd)
{
    const int on = 1;
    checked(setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on), "TCP_NODELAY");
}

void waitWritable(int fd)
{
    pollfd entry{fd, POLLOUT, 0};
    poll(&entry, 1, -1);
}

} // namespace

TcpStream::TcpStream(TcpStream&& other) noexcept
    : fd(std::exchange(other.fd, -1))
{
}

TcpStream& TcpStream::operator=(TcpStream&& other) noexcept
{
    std::swap(fd, other.fd);
    return *this;
}

TcpStream::~TcpStream()
{
    if (fd >= 0)
        ::close(fd);
}

TcpStream TcpStream::connect(uint16_t port)
{
    TcpStream stream(checked(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0), "socket"));
    const sockaddr_in address = loopback(port);
    checked(::connect(stream.fd, reinterpret_cast<const sockaddr*>(&address), sizeof address),
            "connect");
    setNoDelay(stream.fd);
    return stream;
}

void TcpStream::setBlocking(bool blocking)
{
    const int flags = checked(fcntl(fd, F_GETFL), "F_GETFL");
    checked(fcntl(fd, F_SETFL, blocking ? flags & ~O_NONBLOCK : flags | O_NONBLOCK), "F_SETFL");
}

bool TcpStream::sendAll(const void* data, size_t size)
{
    auto* bytes = static_cast<const char*>(data);
    while (size > 0) {
        const ssize_t sent = send(fd, bytes, size, MSG_NOSIGNAL);
        if (sent > 0) {
            bytes += sent;
            size -= static_cast<size_t>(sent);
        } else if (errno == EAGAIN) {
            waitWritable(fd);
        } else if (errno != EINTR) {
            return false;
        }
    }
    return true;
}

bool TcpStream::receiveAll(void* data, size_t size)
{
    auto* bytes = static_cast<char*>(data);
    while (size > 0) {
        // MSG_WAITALL would be shorter and, for large sizes, much slower.
        const ssize_t received = recv(fd, bytes, size, 0);
        if (received <= 0)
            return false;
        bytes += received;
        size -= static_cast<size_t>(received);
    }
    return true;
}

long TcpStream::receiveSome(void* data, size_t size)
{
    const ssize_t received = recv(fd, data, size, 0);
    if (received > 0)
        return received;
    return received < 0 && (errno == EAGAIN || errno == EINTR) ? 0 : -1;
}

TcpListener::TcpListener()
{
    fd = checked(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0), "socket");
    sockaddr_in address = loopback(0);
    socklen_t length = sizeof address;
    checked(bind(fd, reinterpret_cast<sockaddr*>(&address), length), "bind");
    checked(listen(fd, SOMAXCONN), "listen");
    checked(getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length), "getsockname");
    tcpPort = ntohs(address.sin_port);
}

TcpListener::~TcpListener() { ::close(fd); }

TcpStream TcpListener::accept()
{
    TcpStream stream(checked(accept4(fd, nullptr, nullptr, SOCK_CLOEXEC), "accept"));
    setNoDelay(stream.descriptor());
    return stream;
}

SocketWait::SocketWait(const TcpStream& stream)
    : epoll(checked(epoll_create1(EPOLL_CLOEXEC), "epoll_create1"))
    , wakeEvent(checked(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK), "eventfd"))
{
    for (const int fd : {stream.descriptor(), wakeEvent}) {
        epoll_event event{};
        event.events = EPOLLIN | EPOLLRDHUP | EPOLLET;
        event.data.fd = fd;
        checked(epoll_ctl(epoll, EPOLL_CTL_ADD, fd, &event), "epoll_ctl");
    }
}

SocketWait::~SocketWait()
{
    ::close(epoll);
    ::close(wakeEvent);
}

bool SocketWait::wait()
{
    epoll_event events[2];
    const int count = epoll_wait(epoll, events, 2, -1);
    return std::any_of(events, events + std::max(count, 0),
                       [this](const epoll_event& event) { return event.data.fd != wakeEvent; });
}

void SocketWait::wake() { eventfd_write(wakeEvent, 1); }

void blockOnWord(std::atomic<uint32_t>& word, uint32_t expected)
{
    syscall(SYS_futex, &word, FUTEX_WAIT_PRIVATE, expected, nullptr, nullptr, 0);
}

void wakeWordWaiter(std::atomic<uint32_t>& word)
{
    syscall(SYS_futex, &word, FUTEX_WAKE_PRIVATE, 1, nullptr, nullptr, 0);
}

void raiseDescriptorLimit(unsigned descriptors)
{
    rlimit limit{};
    checked(getrlimit(RLIMIT_NOFILE, &limit), "getrlimit");
    if (limit.rlim_cur >= descriptors)
        return;
    limit.rlim_cur = descriptors;
    checked(setrlimit(RLIMIT_NOFILE, &limit), "too few descriptors (ulimit -Hn)");
}

void flushFileSystem(const std::string& path)
{
    const int fd = checked(open(path.c_str(), O_RDONLY | O_CLOEXEC), path.c_str());
    syncfs(fd);
    ::close(fd);
}

LocalFile::LocalFile(const std::string& path)
    : fd(checked(open(path.c_str(), O_RDONLY | O_CLOEXEC), path.c_str()))
{
}

LocalFile::~LocalFile() { ::close(fd); }

size_t LocalFile::read(uint64_t position, void* buffer, size_t size) const
{
    auto* bytes = static_cast<char*>(buffer);
    size_t done = 0;
    while (done < size) {
        const ssize_t count =
            pread(fd, bytes + done, size - done, static_cast<off_t>(position + done));
        if (count < 0)
            throw std::system_error(errno, std::generic_category(), "pread");
        if (count == 0)
            break;
        done += static_cast<size_t>(count);
    }
    return done;
}

AliasedBuffer::AliasedBuffer(size_t size)
    : byteCount(size)
{
    void* const place = mmap(nullptr, size, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (place == MAP_FAILED)
        throw std::system_error(errno, std::generic_category(), "mmap");
    start = static_cast<char*>(place);
    const int memory = checked(memfd_create("bench", MFD_CLOEXEC), "memfd_create");
    checked(ftruncate(memory, kAliasBytes), "ftruncate");
    for (size_t offset = 0; offset < size; offset += kAliasBytes)
        mmap(start + offset, std::min(size - offset, kAliasBytes), PROT_READ | PROT_WRITE,
             MAP_SHARED | MAP_FIXED, memory, 0);
    ::close(memory);
}

AliasedBuffer::~AliasedBuffer() { munmap(start, byteCount); }

} // namespace bench
