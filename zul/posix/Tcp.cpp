#include "zul/common/Tcp.h"

#include <arpa/inet.h>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/uio.h>
#include <system_error>
#include <unistd.h>

namespace net::tcp {

static constexpr std::size_t kMaxPieces = 4;
static constexpr int kThrottleMs = 5;
static constexpr u32 kDiscardBytes = 1024 * 1024;

static int descriptor(Handle handle) { return static_cast<int>(handle); }

static Address toAddress(const sockaddr* address, socklen_t size)
{
    static_assert(sizeof(sockaddr_in6) <= sizeof(Address::bytes));
    Address result;
    if (size > sizeof result.bytes)
        return result;
    std::memcpy(result.bytes, address, size);
    result.size = size;
    return result;
}

static const sockaddr* fromAddress(const Address& address)
{
    return reinterpret_cast<const sockaddr*>(address.bytes);
}

// Runs getaddrinfo; returns its error.
static int lookUp(const char* host, u32 port, int flags, std::vector<Address>& out)
{
    addrinfo hints{};
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = flags | AI_NUMERICSERV;
    addrinfo* found = nullptr;
    if (int error = getaddrinfo(host, std::to_string(port).c_str(), &hints, &found))
        return error;
    for (addrinfo* entry = found; entry; entry = entry->ai_next) {
        if (entry->ai_family == AF_INET || entry->ai_family == AF_INET6)
            out.push_back(toAddress(entry->ai_addr, entry->ai_addrlen));
    }
    freeaddrinfo(found);
    return 0;
}

std::vector<Address> numericAddresses(const char* host, u32 port)
{
    std::vector<Address> result;
    if (strcasecmp(host, "localhost") == 0) {
        // Not by the system's tables, which may say anything, and in the order listeners prefer.
        lookUp("127.0.0.1", port, AI_NUMERICHOST, result);
        lookUp("::1", port, AI_NUMERICHOST, result);
    } else
        lookUp(host, port, AI_NUMERICHOST, result);
    return result;
}

std::vector<Address> resolve(const char* host, u32 port, std::string& outError)
{
    std::vector<Address> result;
    if (int error = lookUp(host, port, 0, result))
        outError = error == EAI_SYSTEM ? errorText(errno) : gai_strerror(error);
    else if (result.empty())
        outError = "no TCP address";
    return result;
}

Endpoint describe(const Address& address)
{
    Endpoint result;
    char text[INET6_ADDRSTRLEN] = "";
    std::string scope;
    if (address.size == sizeof(sockaddr_in)) {
        sockaddr_in parts;
        std::memcpy(&parts, address.bytes, sizeof parts);
        inet_ntop(AF_INET, &parts.sin_addr, text, sizeof text);
        result.port = ntohs(parts.sin_port);
    } else if (address.size == sizeof(sockaddr_in6)) {
        sockaddr_in6 parts;
        std::memcpy(&parts, address.bytes, sizeof parts);
        if (IN6_IS_ADDR_V4MAPPED(&parts.sin6_addr))
            inet_ntop(AF_INET, parts.sin6_addr.s6_addr + 12, text, sizeof text);
        else
            inet_ntop(AF_INET6, &parts.sin6_addr, text, sizeof text);
        if (IN6_IS_ADDR_LINKLOCAL(&parts.sin6_addr) && parts.sin6_scope_id != 0)
            scope = "%" + std::to_string(parts.sin6_scope_id);
        result.port = ntohs(parts.sin6_port);
    }
    result.ip = text + scope;
    return result;
}

std::string errorText(int error) { return std::generic_category().message(error); }

static int openStream(const Address& address)
{
    return socket(fromAddress(address)->sa_family, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
}

static void setOption(int stream, int level, int option, int value)
{
    setsockopt(stream, level, option, &value, sizeof value);
}

// Best effort: without them a connection is slower to send, or to notice a loss, but works.
static void setStreamOptions(int stream)
{
    setOption(stream, IPPROTO_TCP, TCP_NODELAY, 1);
    setOption(stream, SOL_SOCKET, SO_KEEPALIVE, 1);
    setOption(stream, IPPROTO_TCP, TCP_KEEPIDLE, kKeepAliveIdleSeconds);
    setOption(stream, IPPROTO_TCP, TCP_KEEPINTVL, kKeepAliveIntervalSeconds);
    setOption(stream, IPPROTO_TCP, TCP_KEEPCNT, kKeepAliveProbes);
}

using NameFunction = int (*)(int, sockaddr*, socklen_t*);

static Address nameOf(int stream, NameFunction function)
{
    sockaddr_storage storage{};
    socklen_t size = sizeof storage;
    if (function(stream, reinterpret_cast<sockaddr*>(&storage), &size) != 0)
        return {};
    return toAddress(reinterpret_cast<sockaddr*>(&storage), size);
}

static bool isConnectedToItself(int stream)
{
    Endpoint local = describe(nameOf(stream, getsockname));
    Endpoint peer = describe(nameOf(stream, getpeername));
    return local.port == peer.port && local.ip == peer.ip;
}

static Attempt failAttempt(int stream, int error)
{
    if (stream != -1)
        ::close(stream);
    return {Outcome::Failed, kNoHandle, error};
}

Attempt startConnect(const Address& address)
{
    int stream = openStream(address);
    if (stream == -1)
        return failAttempt(stream, errno);
    setStreamOptions(stream);
    if (connect(stream, fromAddress(address), address.size) == 0)
        return continueConnect(stream);
    // An interrupted attempt goes on in the background as well.
    if (errno == EINPROGRESS || errno == EINTR)
        return {Outcome::WouldBlock, stream, 0};
    return failAttempt(stream, errno);
}

Attempt continueConnect(Handle handle)
{
    int stream = descriptor(handle);
    pollfd entry{stream, POLLOUT, 0};
    if (poll(&entry, 1, 0) <= 0)
        return {Outcome::WouldBlock, handle, 0};
    int error = 0;
    socklen_t size = sizeof error;
    if (getsockopt(stream, SOL_SOCKET, SO_ERROR, &error, &size) != 0)
        error = errno;
    if (error == 0 && isConnectedToItself(stream))
        error = ECONNREFUSED;
    if (error != 0)
        return failAttempt(stream, error);
    return {Outcome::Done, handle, 0};
}

// What a failed call to send or receive means.
static Transfer failTransfer(int error)
{
    bool again = error == EAGAIN || error == EWOULDBLOCK;
    return {again ? Outcome::WouldBlock : Outcome::Failed, 0, again ? 0 : error};
}

Transfer send(Handle handle, std::span<const Piece> pieces)
{
    iovec vectors[kMaxPieces];
    std::size_t count = 0;
    std::size_t total = 0;
    for (const Piece& piece : pieces) {
        if (piece.count == 0 || count == kMaxPieces)
            continue;
        vectors[count++] = {const_cast<u8*>(piece.bytes), piece.count};
        total += piece.count;
    }
    ssize_t sent;
    do {
        if (count == 1)
            sent = ::send(descriptor(handle), vectors[0].iov_base, total, MSG_NOSIGNAL);
        else {
            msghdr message{};
            message.msg_iov = vectors;
            message.msg_iovlen = count;
            sent = sendmsg(descriptor(handle), &message, MSG_NOSIGNAL);
        }
    } while (sent == -1 && errno == EINTR);
    if (sent == -1)
        return failTransfer(errno);
    bool all = static_cast<std::size_t>(sent) == total;
    return {all ? Outcome::Done : Outcome::WouldBlock, static_cast<u32>(sent), 0};
}

Transfer receive(Handle handle, std::span<u8> space)
{
    ssize_t received;
    do
        received = recv(descriptor(handle), space.data(), space.size(), 0);
    while (received == -1 && errno == EINTR);
    if (received == -1)
        return failTransfer(errno);
    if (received == 0)
        return {Outcome::Ended, 0, 0};
    return {Outcome::Done, static_cast<u32>(received), 0};
}

Endpoint localEndpoint(Handle handle) { return describe(nameOf(descriptor(handle), getsockname)); }

void close(Handle handle) { ::close(descriptor(handle)); }

void finish(Handle handle)
{
    int stream = descriptor(handle);
    shutdown(stream, SHUT_WR);
    u8 dropped[4096];
    for (u32 total = 0; total < kDiscardBytes;) {
        ssize_t received = recv(stream, dropped, sizeof dropped, 0);
        if (received <= 0)
            break;
        total += static_cast<u32>(received);
    }
    ::close(stream);
}

static int openSpare() { return open("/dev/null", O_RDONLY | O_CLOEXEC); }

void allowPortAfterStop(Handle handle)
{
    // Without it a restarted program waits minutes for its port. SO_REUSEPORT would do that too,
    // but lets two programs listen on one port, each getting some of the connections.
    const int on = 1;
    setsockopt(static_cast<int>(handle), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
}

Listening listen(const Address& address, std::string& outError)
{
    int stream = openStream(address);
    int off = 0;
    if (stream != -1) {
        allowPortAfterStop(stream);
        // "::" stands for all networks, whatever the system's default. Fails, harmlessly, for IPv4.
        setsockopt(stream, IPPROTO_IPV6, IPV6_V6ONLY, &off, sizeof off);
    }
    if (stream == -1 || bind(stream, fromAddress(address), address.size) != 0 ||
        ::listen(stream, SOMAXCONN) != 0)
    {
        outError = errorText(errno);
        if (stream != -1)
            ::close(stream);
        return {};
    }
    return {stream, openSpare(), localEndpoint(stream).port};
}

// Nobody can be served without a descriptor, and a connection left in the queue would end every
// wait at once. So take it with the spare one and hang up.
static void refuse(Listening& listening)
{
    if (listening.spare != kNoHandle)
        ::close(descriptor(listening.spare));
    int stream = accept4(descriptor(listening.handle), nullptr, nullptr, SOCK_CLOEXEC);
    if (stream != -1)
        ::close(stream);
    else
        poll(nullptr, 0, kThrottleMs); // another thread was quicker, or the system is in need
    listening.spare = openSpare();
}

Attempt accept(Listening& listening, Address& outPeer)
{
    sockaddr_storage storage{};
    socklen_t size = sizeof storage;
    int stream;
    do
        stream = accept4(descriptor(listening.handle), reinterpret_cast<sockaddr*>(&storage), &size,
                         SOCK_NONBLOCK | SOCK_CLOEXEC);
    while (stream == -1 && errno == EINTR);
    if (stream != -1) {
        setStreamOptions(stream);
        outPeer = toAddress(reinterpret_cast<sockaddr*>(&storage), size);
        return {Outcome::Done, stream, 0};
    }
    int error = errno;
    if (error != EMFILE && error != ENFILE && error != ENOBUFS && error != ENOMEM)
        return {Outcome::WouldBlock, kNoHandle, 0}; // nobody there, or gone again meanwhile
    refuse(listening);
    return {Outcome::Failed, kNoHandle, error};
}

void close(Listening& listening)
{
    if (listening.handle != kNoHandle)
        ::close(descriptor(listening.handle));
    if (listening.spare != kNoHandle)
        ::close(descriptor(listening.spare));
    listening = {};
}

} // namespace net::tcp
