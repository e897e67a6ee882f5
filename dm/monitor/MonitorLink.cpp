#include "dm/monitor/MonitorLink.h"

#include <algorithm>
#include <chrono>
#include <utility>

namespace dm {

namespace {

using std::chrono::milliseconds;

constexpr u64 kListenerKey = 0;

// How late a text may be, while very much is printed, usually, and after a pause.
constexpr u32 kBusyLookMs = 1;
constexpr u32 kLookMs = 4;
constexpr u32 kQuietLookMs = 20;
constexpr u32 kQuietAfterPasses = 250;

constexpr u32 kNoToolsMs = 1000;

constexpr milliseconds kFinalSendTime{200};

// Connections taken in one pass, so that somebody who connects in a loop holds up nobody's text.
constexpr u32 kAcceptsPerPass = 16;

} // namespace

MonitorLink::MonitorLink(int port, MonitorLog& sharedLog, u32 backlogLimit)
    : log(sharedLog)
    , backlogBytes(backlogLimit)
    , listener(port)
    , waitSet(std::make_shared<net::WaitSet>())
{
    waitSet->add(listener.getWaitHandle(), zu::Interest::Read, kListenerKey);
}

MonitorLink::~MonitorLink() { stop(Ending::HangUp); }

void MonitorLink::stop(Ending how)
{
    if (stopping)
        return;
    ending = how;
    endBy = Clock::now() + (how == Ending::HangUp ? kFinalSendTime : milliseconds(0));
    stopping = true;
    waitSet->wake();
    joinThread();
}

void MonitorLink::takeArrived()
{
    std::vector<Connection> taken;
    {
        const std::lock_guard guard(handOverLock);
        taken.swap(arrived);
    }
    if (taken.empty())
        return;
    if (connections.empty())
        log.start(backlogBytes, waitSet);
    for (const Connection& connection : taken) {
        connection->setReader(log.openReader());
        connections.push_back(connection);
    }
    {
        const std::lock_guard guard(handOverLock);
        accepted.insert(accepted.end(), taken.begin(), taken.end());
    }
    waitSet->wake();
}

void MonitorLink::remove(size_t index)
{
    connections.erase(connections.begin() + static_cast<std::ptrdiff_t>(index));
    if (connections.empty())
        log.stop();
}

int MonitorLink::run()
{
    zu::setThreadName(zu::currentThreadId(), "ZMK - Debug monitor");
    while (!stopping) {
        wait();
        takeAccepted();
        pumpAll();
        dropLost();
    }
    if (ending == Ending::HangUp)
        sendLast();
    return 0;
}

void MonitorLink::wait()
{
    net::WaitSet::Ready ready[64];
    const u32 count = waitSet->wait(ready, 64, waitMs());
    for (u32 index = 0; index < count; ++index) {
        if (ready[index].key == kListenerKey) {
            accept();
            continue;
        }
        const auto found = std::ranges::find(tools, ready[index].key,
                                             [](const Tool& tool) { return tool.connection->key; });
        if (found == tools.end())
            continue;
        found->readable = ready[index].readable;
        found->writable = ready[index].writable;
    }
}

u32 MonitorLink::waitMs() const
{
    if (tools.empty())
        return kNoToolsMs;
    if (lastProgress == MonitorConnection::Progress::MoreToDo)
        return 0;
    if (lastProgress == MonitorConnection::Progress::Much)
        return kBusyLookMs;
    return quietPasses < kQuietAfterPasses ? kLookMs : kQuietLookMs;
}

void MonitorLink::accept()
{
    for (u32 count = 0; count < kAcceptsPerPass; ++count) {
        std::unique_ptr<net::Socket> socket(listener.pollConnect());
        if (!socket)
            return;
        if (connected == kMaxMonitorTools) {
            if (tooMany.raise())
                warn("the debug monitor has %u tools, further ones are turned away", connected);
            continue;
        }
        ++connected;
        auto connection = std::make_shared<MonitorConnection>(std::move(socket), nextKey++);
        const std::lock_guard guard(handOverLock);
        arrived.push_back(std::move(connection));
    }
}

void MonitorLink::takeAccepted()
{
    const std::lock_guard guard(handOverLock);
    for (Connection& connection : accepted)
        tools.push_back({std::move(connection)});
    accepted.clear();
}

bool MonitorLink::isTimeUp() const { return stopping && Clock::now() >= endBy; }

// A pass over many tools that are far behind takes longer than the end may take.
void MonitorLink::pumpAll()
{
    using Progress = MonitorConnection::Progress;
    Progress most = Progress::None;
    for (Tool& tool : tools) {
        if (isTimeUp())
            break;
        most = std::max(most, tool.connection->pump(tool.readable, tool.writable, scratch));
        tool.readable = tool.writable = false;
        if (tool.connection->isConnected())
            tool.connection->watch(*waitSet);
    }
    lastProgress = most;
    quietPasses = most == Progress::None ? quietPasses + 1 : 0;
}

void MonitorLink::dropLost()
{
    const size_t dropped = std::erase_if(tools, [](const Tool& tool) {
        if (tool.connection->isConnected())
            return false;
        tool.connection->hangUp();
        return true;
    });
    connected -= static_cast<u32>(dropped);
}

// Those that read get what was printed before the end, and those that do not hold up nobody.
void MonitorLink::sendLast()
{
    takeAccepted();
    for (;;) {
        pumpAll();
        dropLost();
        const bool isDone = std::ranges::none_of(
            tools, [](const Tool& tool) { return tool.connection->hasUnsent(); });
        if (isDone || isTimeUp())
            break;
        wait();
    }
    for (const Tool& tool : tools)
        tool.connection->hangUp();
    tools.clear();
}

} // namespace dm
