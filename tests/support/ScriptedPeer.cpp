#include "support/ScriptedPeer.h"

#include "support/WaitUntil.h"

#include <arpa/inet.h>
#include <cstring>
#include <poll.h>
#include <stdexcept>
#include <sys/socket.h>
#include <unistd.h>
#include <utility>

namespace support {

namespace {

constexpr size_t kHeaderBytes = 8;

sockaddr_in loopback(std::uint32_t port)
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

void require(bool holds, const char* what)
{
    if (!holds)
        throw std::runtime_error(std::string("scripted peer: ") + what);
}

void waitReadable(int descriptor, const char* otherwise)
{
    constexpr std::chrono::milliseconds kLimit = kLongLimit;
    pollfd poller{descriptor, POLLIN, 0};
    require(::poll(&poller, 1, static_cast<int>(kLimit.count())) > 0, otherwise);
}

int newSocket()
{
    const int descriptor = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    require(descriptor >= 0, "no socket");
    const int on = 1; // another may listen on the port of one that has ended
    ::setsockopt(descriptor, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    return descriptor;
}

} // namespace

ScriptedPeer ScriptedPeer::connectTo(std::uint32_t port)
{
    ScriptedPeer peer(newSocket());
    const sockaddr_in address = loopback(port);
    require(::connect(peer.descriptor, reinterpret_cast<const sockaddr*>(&address),
                      sizeof address) == 0,
            "cannot connect");
    return peer;
}

ScriptedPeer ScriptedPeer::attachTo(std::uint32_t port, const std::string& pipe)
{
    ScriptedPeer peer = connectTo(port);
    peer.send(openPipe(pipe));
    peer.expect(WireMessage::PipeOpened);
    return peer;
}

ScriptedPeer::ScriptedPeer(ScriptedPeer&& other) noexcept { *this = std::move(other); }

ScriptedPeer& ScriptedPeer::operator=(ScriptedPeer&& other) noexcept
{
    std::swap(descriptor, other.descriptor);
    std::swap(unread, other.unread);
    std::swap(seenKinds, other.seenKinds);
    return *this;
}

void ScriptedPeer::finish() { ::shutdown(descriptor, SHUT_WR); }

void ScriptedPeer::close()
{
    if (descriptor >= 0)
        ::close(std::exchange(descriptor, -1));
}

void ScriptedPeer::welcomeAndOpen(const std::string& pipe)
{
    send(welcome());
    while (expect(WireMessage::OpenPipe).name != pipe)
        ;
    send(pipeOpened(pipe));
}

bool ScriptedPeer::sendRaw(std::string_view bytes)
{
    // A blocking socket sends all or fails.
    return ::send(descriptor, bytes.data(), bytes.size(), MSG_NOSIGNAL) ==
           static_cast<ssize_t>(bytes.size());
}

bool ScriptedPeer::readMore()
{
    waitReadable(descriptor, "nothing arrived in time");
    char buffer[65536];
    const ssize_t count = ::recv(descriptor, buffer, sizeof buffer, 0);
    if (count > 0)
        unread.append(buffer, static_cast<size_t>(count));
    return count > 0;
}

bool ScriptedPeer::takeMessage(WireMessage& message)
{
    if (unread.size() < kHeaderBytes)
        return false;
    std::uint32_t payloadBytes = 0;
    std::memcpy(&payloadBytes, unread.data() + 4, sizeof payloadBytes);
    if (unread.size() < kHeaderBytes + payloadBytes)
        return false;
    const auto parsed = WireMessage::parse({unread.data() + kHeaderBytes, payloadBytes});
    require(parsed.has_value(), "a malformed message arrived");
    unread.erase(0, kHeaderBytes + payloadBytes);
    message = *parsed;
    seenKinds |= 1u << message.kind;
    return true;
}

WireMessage ScriptedPeer::expect(WireMessage::Kind kind)
{
    const auto deadline = std::chrono::steady_clock::now() + kLongLimit;
    for (WireMessage message;;) {
        while (takeMessage(message))
            if (message.kind == kind)
                return message;
        require(std::chrono::steady_clock::now() < deadline, "message never came");
        require(readMore(), "closed while a message was expected");
    }
}

WireMessage ScriptedPeer::expectWhole(WireMessage::Kind kind)
{
    WireMessage whole = expect(kind);
    while (whole.chunk.size() < whole.total) {
        const WireMessage next = expect(kind);
        require(next.id == whole.id && next.text == whole.text &&
                    next.offset == whole.chunk.size() && !next.chunk.empty(),
                "chunks of two messages are mixed up");
        whole.chunk += next.chunk;
    }
    return whole;
}

std::string ScriptedPeer::readUntil(std::string_view bytes)
{
    while (unread.find(bytes) == std::string::npos)
        require(readMore(), "closed while bytes were expected");
    const std::string read = unread.substr(0, unread.find(bytes) + bytes.size());
    unread.erase(0, read.size());
    return read;
}

void ScriptedPeer::expectClosed()
{
    WireMessage message;
    while (readMore())
        while (takeMessage(message))
            ;
}

std::uint32_t unusedPort() { return ScriptedServer().port(); }

ScriptedServer::ScriptedServer(int backlog)
    : descriptor(newSocket())
{
    sockaddr_in address = loopback(0);
    socklen_t size = sizeof address;
    auto* plain = reinterpret_cast<sockaddr*>(&address);
    require(::bind(descriptor, plain, size) == 0 && ::listen(descriptor, backlog) == 0 &&
                ::getsockname(descriptor, plain, &size) == 0,
            "cannot listen");
    listenPort = ntohs(address.sin_port);
}

ScriptedServer::~ScriptedServer() { ::close(descriptor); }

ScriptedPeer ScriptedServer::accept()
{
    waitReadable(descriptor, "nobody connected");
    return ScriptedPeer(::accept4(descriptor, nullptr, nullptr, SOCK_CLOEXEC));
}

} // namespace support
