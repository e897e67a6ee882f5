#include "tools/monitor/MonitorClient.h"

#include "tools/dm/Arguments.h"

#include <dm/comm.h>

#include <algorithm>
#include <utility>

namespace monitor {

using std::chrono::milliseconds;
using Kind = MonitorEvent::Kind;

namespace {

// An attempt that fails is mentioned when the game had so long to come up, and a connection after
// one that brought nothing when it has lasted so long.
constexpr std::chrono::seconds kWorthMentioning{1};

constexpr zu::u32 kLookAgainMs = 50; // while a name is looked up there is nothing to wait for

void takeValue(const dm::MonitorMessage& message, MonitorEvent& event)
{
    event.group = message.group;
    event.name = message.name;
    event.text = message.text;
}

// An event is used again and again. What an uncommonly long text took it gives back.
void forget(MonitorEvent& event)
{
    constexpr std::size_t kUsualBytes = 1024;
    event.profile.reset();
    for (std::string* text : {&event.name, &event.text}) {
        text->clear();
        if (text->capacity() > kUsualBytes)
            text->shrink_to_fit();
    }
}

} // namespace

MonitorClient::MonitorClient(std::string hostName, int portNumber, Sink eventSink)
    : host(std::move(hostName))
    , port(portNumber)
    , address(tool::Address{host, port}.toString())
    , sink(std::move(eventSink))
{
}

MonitorClient::~MonitorClient() { stop(); }

void MonitorClient::start()
{
    thread = std::thread([this] { run(); });
}

void MonitorClient::stop()
{
    stopping = true;
    wake.set();
    if (thread.joinable())
        thread.join();
}

bool MonitorClient::request(int request)
{
    return request >= 0 && request < dm::kMonitorRequests && add({request, ""});
}

bool MonitorClient::sendData(std::string data)
{
    return data.size() <= kMaxDataBytes && add({-1, std::move(data)});
}

bool MonitorClient::add(Command command)
{
    {
        const std::lock_guard lock(commandsLock);
        if (!connected || commands.size() == kMaxWaitingCommands)
            return false;
        commands.push_back(std::move(command));
    }
    wake.set();
    return true;
}

void MonitorClient::run()
{
    while (!stopping) {
        if (connect())
            serve();
        handOver();
        waitFor(kReconnectDelay);
    }
}

// Time that is cut short by stop only.
void MonitorClient::waitFor(milliseconds time)
{
    const Clock::time_point end = Clock::now() + time;
    const zu::WaitHandle handle = wake.getWaitHandle();
    while (!stopping) {
        const auto left = std::chrono::ceil<milliseconds>(end - Clock::now());
        if (left.count() <= 0)
            return;
        zu::waitAny(&handle, 1, static_cast<zu::u32>(left.count()));
    }
}

bool MonitorClient::connect()
{
    socket.connect(host.c_str(), static_cast<zu::u32>(port));
    while (socket.isPending() && !stopping) {
        const zu::WaitHandle handles[] = {wake.getWaitHandle(), socket.getWaitHandle()};
        zu::waitAny(handles, 2, kLookAgainMs);
        socket.update();
    }
    if (socket.isConnected())
        return true;
    if (!stopping && said == Kind::Text && Clock::now() - begin > kWorthMentioning) {
        said = Kind::Unreachable;
        addEvent(said).text = socket.closeReason();
    }
    return false;
}

void MonitorClient::serve()
{
    const Clock::time_point start = Clock::now();
    isAnnounced = hasReceived = false;
    while (socket.isConnected() && !stopping) {
        if (!isAnnounced && (!isDoubtful || Clock::now() - start > kWorthMentioning))
            sayConnected();
        handOver();
        const zu::WaitHandle handles[] = {wake.getWaitHandle(), socket.getWaitHandle()};
        zu::waitAny(handles, 2, static_cast<zu::u32>(milliseconds(kReconnectDelay).count()));
        socket.update();
        receive();
        sendCommands();
    }
    if (stopping) {
        sendCommands();
        socket.drain(net::kFinalFlushMs);
    } else {
        isDoubtful = !hasReceived;
        const bool isForeign = socket.gotMalformed() && !hasReceived;
        endConnection(isForeign ? Kind::NotAMonitor : Kind::Lost, socket.closeReason());
    }
}

void MonitorClient::sayConnected()
{
    isAnnounced = connected = true;
    said = Kind::Connected;
    addEvent(said).text = address;
}

void MonitorClient::endConnection(Kind kind, const std::string& why)
{
    {
        const std::lock_guard lock(commandsLock);
        connected = false;
        commands.clear();
    }
    if (isAnnounced || (kind == Kind::NotAMonitor && said != kind)) {
        said = kind;
        addEvent(kind).text = why;
    }
    isAnnounced = false;
}

void MonitorClient::receive()
{
    while (net::Packet* packet = socket.pollPacket(nullptr)) {
        decode(*packet);
        if (eventCount + 2 > kMaxEventsAtOnce) // one packet makes two at most
            handOver();
    }
}

void MonitorClient::decode(net::Packet& packet)
{
    const bool isFirst = !std::exchange(hasReceived, true);
    if (isFirst && packet.getID() == dm::kPipePacketId) {
        hasReceived = false;
        endConnection(Kind::NotAMonitor, "this is a port for pipes");
        socket.close();
        return;
    }
    if (!isAnnounced)
        sayConnected();
    const dm::MonitorMessage message = dm::readMonitorMessage(packet);
    switch (message.kind) {
    case dm::MonitorMessage::Kind::Text:
        if (const u64 lines = dm::readLostLines(message)) {
            addEvent(Kind::LostLines).lostLines = lines;
        } else {
            MonitorEvent& event = addEvent(Kind::Text);
            event.channel = message.channel;
            event.text = message.text;
        }
        break;
    case dm::MonitorMessage::Kind::InPlace:
        takeValue(message, addEvent(Kind::Value));
        break;
    case dm::MonitorMessage::Kind::Profile: {
        zu::u32 size = 0;
        const char* const bytes = packet.readText(size);
        if (packet.good())
            addEvent(Kind::Profile).profile =
                std::make_shared<const std::vector<u8>>(bytes, bytes + size);
        break;
    }
    case dm::MonitorMessage::Kind::Other:
    case dm::MonitorMessage::Kind::Malformed:
        break; // the game's own
    }
}

void MonitorClient::sendCommands()
{
    std::vector<Command> taken;
    {
        const std::lock_guard lock(commandsLock);
        taken.swap(commands);
    }
    net::Packet packet(0);
    for (const Command& command : taken) {
        if (command.request >= 0)
            dm::writeMonitorRequest(packet, command.request);
        else
            dm::writeMonitorData(packet, command.data.c_str());
        socket.sendPacket(&packet);
    }
}

MonitorEvent& MonitorClient::addEvent(Kind kind)
{
    using std::chrono::duration_cast;
    using std::chrono::microseconds;
    if (eventCount == events.size())
        events.emplace_back();
    MonitorEvent& event = events[eventCount++];
    event.kind = kind;
    event.time = duration_cast<microseconds>(Clock::now() - begin);
    event.wallClock =
        duration_cast<microseconds>(std::chrono::system_clock::now().time_since_epoch());
    return event;
}

void MonitorClient::handOver()
{
    if (eventCount == 0)
        return;
    sink(MonitorEvents(events.data(), eventCount));
    std::for_each_n(events.begin(), eventCount, forget);
    eventCount = 0;
}

} // namespace monitor
