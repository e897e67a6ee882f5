#include "tools/doctor/Probe.h"

#include <dm/comm.h>
#include <dm/monitor.h>
#include <zul/Packet.h>
#include <zul/Socket.h>
#include <zul/String.h>

#include <algorithm>
#include <optional>
#include <system_error>
#include <vector>

namespace doctor {

using namespace std::chrono_literals;
using std::chrono::milliseconds;

namespace {

using Clock = std::chrono::steady_clock;
using Reach = Observation::Reach;
using Speech = Observation::Speech;
using PipeAnswer = Observation::PipeAnswer;

constexpr const char* kSenderName = "dm doctor";

// Greetings and the answers of strangers come within milliseconds; whoever needs longer is heard
// all the same, later. A redirect follows the greeting at once, unless the machine is very busy.
constexpr milliseconds kGreetingTime = 300ms;
constexpr milliseconds kRedirectTime = 300ms;

// While a name is looked up there is nothing to wait for, and a refused pipe may come to be.
constexpr milliseconds kLookAgain = 20ms;
constexpr milliseconds kAskAgain = 200ms;

// The socket would give up by itself then, with a reason that looks like the system's.
constexpr milliseconds kLongestConnect{net::kConnectTimeoutMs - 500};

milliseconds until(Clock::time_point time)
{
    return std::max(std::chrono::ceil<milliseconds>(time - Clock::now()), 0ms);
}

/// One connection, given up at a set time.
class Visit
{
public:
    explicit Visit(Clock::time_point endOfPatience)
        : end(endOfPatience)
    {
    }
    // What was not taken by then would make the socket wait for its reader.
    ~Visit() { socket.close(); }
    Visit(const Visit&) = delete;
    Visit& operator=(const Visit&) = delete;

    Reach connect(const tool::Address& address);

    /// The next packet; null when the time is over or the connection has ended.
    net::Packet* next(milliseconds time);

    void send(const net::Packet& packet) { socket.sendPacket(&packet); }
    bool isOpen() const { return socket.isConnected(); }
    bool gotMalformed() const { return socket.gotMalformed(); }
    std::string reason() const { return failure.empty() ? socket.closeReason() : failure; }
    std::string reached() const { return socket.getConnectedIP().c_str(); }
    milliseconds left() const { return until(end); }

private:
    void wait(milliseconds time);
    bool isReason(std::errc error) const
    {
        return reason() == std::make_error_condition(error).message();
    }

    const Clock::time_point end;
    net::Socket socket;
    std::string failure; // to connect, where the socket has no reason yet
};

void Visit::wait(milliseconds time)
{
    const zu::WaitHandle handle = socket.getWaitHandle();
    const milliseconds most = handle.isValid() ? time : std::min(time, kLookAgain);
    zu::waitAny(&handle, 1, static_cast<zu::u32>(most.count()));
}

Reach Visit::connect(const tool::Address& address)
{
    const Clock::time_point connectEnd = std::min(end, Clock::now() + kLongestConnect);
    socket.connect(address.host.c_str(), static_cast<zu::u32>(address.port));
    while (socket.isPending()) {
        const milliseconds time = until(connectEnd);
        if (time == 0ms && socket.getWaitHandle().isValid())
            return Reach::NoAnswer;
        if (time == 0ms) {
            failure = "looking up the name took too long";
            return Reach::Failed;
        }
        wait(time);
        // No more than that: whoever hangs up at once was connected all the same.
        socket.update(false, false);
    }
    // Cut off again before anybody looked is connected, too.
    if (socket.isConnected() || isReason(std::errc::connection_reset))
        return Reach::Connected;
    return isReason(std::errc::connection_refused) ? Reach::Refused : Reach::Failed;
}

net::Packet* Visit::next(milliseconds time)
{
    const Clock::time_point stop = std::min(end, Clock::now() + time);
    for (;;) {
        if (net::Packet* const packet = socket.pollPacket(nullptr))
            return packet;
        const milliseconds rest = until(stop);
        if (!isOpen() || rest == 0ms)
            return nullptr;
        wait(rest);
        socket.update();
    }
}

// Nothing to a monitor. Others find an empty line in it, the end of a request without a beginning.
void sendIgnored(Visit& visit)
{
    net::Packet packet(static_cast<int>(dm::MonitorPacketId::Ignored));
    packet.write("\r\n\r\n", 4);
    visit.send(packet);
}

// Longer than a monitor takes.
void sendTooLong(Visit& visit)
{
    const std::vector<char> bytes(dm::kMaxMonitorRequestBytes);
    net::Packet packet(static_cast<int>(dm::MonitorPacketId::Ignored));
    packet.write(bytes.data(), dm::kMaxMonitorRequestBytes);
    packet << 0;
    visit.send(packet);
}

bool isFromTools(int packetId)
{
    using Id = dm::MonitorPacketId;
    return packetId == static_cast<int>(Id::Request) || packetId == static_cast<int>(Id::Ignored) ||
           packetId == static_cast<int>(Id::Data);
}

void hearFirst(net::Packet& packet, Observation& seen)
{
    const dm::PipeServerMessage message = dm::readPipeServerMessage(packet);
    if (message.kind == dm::PipeServerMessage::Kind::Welcome) {
        seen.speech = Speech::Pipes;
        seen.version = message.protocolVersion;
        seen.serverName = message.name;
    } else if (packet.getID() == dm::kPipePacketId || isFromTools(packet.getID())) {
        seen.speech = Speech::Foreign;
        seen.reason = "what it says is a client's or a tool's part";
    } else {
        seen.speech = Speech::Monitor;
    }
}

/// Speech, and of a server of pipes who it says it is.
void listen(Visit& visit, Observation& seen)
{
    const auto end = [&](Speech speech) {
        seen.speech = visit.gotMalformed() ? Speech::Foreign : speech;
        seen.reason = visit.reason();
    };
    net::Packet* packet = visit.next(std::min(visit.left() * 3 / 10, kGreetingTime));
    if (packet == nullptr && !visit.isOpen())
        return end(Speech::HungUp);
    if (packet == nullptr) {
        sendIgnored(visit);
        packet = visit.next(std::min(visit.left() * 3 / 10, kGreetingTime));
        if (packet == nullptr && !visit.isOpen())
            return end(Speech::Foreign);
    }
    if (packet == nullptr) {
        sendTooLong(visit);
        packet = visit.next(visit.left());
        if (packet == nullptr && !visit.isOpen())
            return end(Speech::Monitor);
    }
    if (packet != nullptr)
        hearFirst(*packet, seen);
}

using Redirect = std::optional<tool::Address>;

/// Where the server sends its clients, if it does: it says so right behind its greeting.
Redirect listenForRedirect(Visit& visit, const tool::Address& reached)
{
    net::Packet* const packet = visit.next(std::min(visit.left() * 3 / 10, kRedirectTime));
    if (packet == nullptr)
        return {};
    const dm::PipeServerMessage message = dm::readPipeServerMessage(*packet);
    if (message.kind != dm::PipeServerMessage::Kind::Redirect)
        return {};
    const bool isSame = *message.name == '\0' || message.port == 0;
    return isSame ? reached : tool::Address{message.name, static_cast<int>(message.port)};
}

PipeAnswer askForPipe(Visit& visit, const std::string& pipe)
{
    using Kind = dm::PipeServerMessage::Kind;
    net::Packet question(0);
    dm::writeOpenPipe(question, pipe.c_str(), kSenderName);
    while (visit.isOpen() && visit.left() > 0ms) {
        visit.send(question);
        while (net::Packet* const packet = visit.next(kAskAgain)) {
            const dm::PipeServerMessage message = dm::readPipeServerMessage(*packet);
            if (zu::stricmp(message.name, pipe.c_str()) != 0)
                continue;
            if (message.kind == Kind::PipeOpened)
                return PipeAnswer::Opened;
            if (message.kind == Kind::PipeRefused)
                return PipeAnswer::Refused;
        }
    }
    return PipeAnswer::None;
}

/// The same where the server sends its clients.
void askElsewhere(const std::string& pipe, Clock::time_point end, Observation& seen)
{
    Visit visit(end);
    Observation there;
    if (visit.connect(seen.redirect) == Reach::Connected)
        listen(visit, there);
    seen.pipeAnswer = there.speech == Speech::Pipes ? askForPipe(visit, pipe) : PipeAnswer::None;
    seen.redirectReason = visit.reason();
}

void lookAtPipes(Visit& visit, const Target& target, Clock::time_point end, Observation& seen)
{
    if (seen.version != dm::kPipeProtocolVersion)
        return;
    const Redirect redirect = listenForRedirect(visit, target.address);
    seen.isRedirecting = redirect.has_value();
    if (redirect) {
        seen.redirect = *redirect;
        seen.isSentBack = redirect->port == target.address.port &&
                          (redirect->host == target.address.host || redirect->host == seen.reached);
    }
    if (target.pipe.empty() || seen.isSentBack || seen.isRedirectedOutOfReach())
        return;
    if (redirect)
        askElsewhere(target.pipe, end, seen);
    else
        seen.pipeAnswer = askForPipe(visit, target.pipe);
}

void lookAtOwnMachine(const tool::Address& address, Clock::time_point end, Observation& seen)
{
    constexpr const char* kLoopback = "127.0.0.1";
    seen.listeners = net::findPortListeners(static_cast<zu::u32>(address.port));
    if (seen.reach == Reach::Refused && address.host != kLoopback)
        seen.answersOnLoopback = Visit(end).connect({kLoopback, address.port}) == Reach::Connected;
}

} // namespace

Observation observe(const Target& target, milliseconds patience)
{
    const Clock::time_point end = Clock::now() + patience;
    Observation seen;
    seen.isOwnMachine = net::isOwnHost(target.address.host.c_str());
    Visit visit(end);
    seen.reach = visit.connect(target.address);
    seen.reason = visit.reason();
    if (seen.reach == Reach::Connected) {
        seen.reached = visit.reached();
        // Names that the system's tables have for this machine are known by where they lead.
        seen.isOwnMachine = seen.isOwnMachine || net::isOwnHost(seen.reached.c_str());
        listen(visit, seen);
    }
    if (seen.speech == Speech::Pipes)
        lookAtPipes(visit, target, end, seen);
    if (seen.isOwnMachine)
        lookAtOwnMachine(target.address, end, seen);
    return seen;
}

} // namespace doctor
