// The exported functions, and the one monitor that they share.

#include "dm/common/Diagnostics.h"
#include "dm/monitor/MonitorLink.h"
#include "dm/monitor/MonitorPackets.h"

#include <dm/monitor.h>
#include <zul/Exception.h>
#include <zul/Mutex.h>
#include <zul/Profile.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <memory>
#include <utility>
#include <vector>

namespace dm {

namespace {

// Held while parseData runs, which may call everything here again. Works from the first static
// constructor to the last thread after main.
zu::CriticalSection s_monitorLock;
using MonitorGuard = RankedGuard<LockRank::Monitor, zu::CriticalSection>;

// Under s_monitorLock. The link is not destroyed at the end of the process: a program that ends
// without deinit does so with the link's thread running.
MonitorLink* s_link = nullptr;
DataParserCallback* s_callback = nullptr;
u32 s_backlogBytes = kDefaultMonitorBacklogBytes;
u64 s_generation = 0; // of init, update and deinit, so that an update learns what it has called
u32 s_updates = 0;    // under way, one within the other

// Any thread.
std::atomic<MonitorLog*> s_log{nullptr}; // made by the first init, for ever
std::array<std::atomic<bool>, kMonitorRequests> s_requests{};
std::atomic<bool> s_hasProfiled{false};

/// The log when there is a tool; null when printing has no point.
MonitorLog* listeningLog()
{
    MonitorLog* log = s_log.load(std::memory_order_acquire);
    return log && log->isKeeping() ? log : nullptr;
}

/// A formatted text, cut.
class FormattedText
{
public:
    FormattedText(const char* format, std::va_list arguments)
    {
        if (std::vsnprintf(text, sizeof text, format, arguments) < 0)
            text[0] = 0;
        length = static_cast<u32>(std::strlen(text)); // a "%c" may have ended it early
    }

    char text[kMaxMonitorTextLength + 1];
    u32 length;
};

void appendText(MonitorLog& log, int channel, const char* format, std::va_list arguments)
{
    const FormattedText text(format, arguments);
    net::Packet packet(0);
    writeText(packet, channel, text.text, text.length);
    log.append(packet);
}

void appendInPlace(MonitorLog& log, int group, const char* name, const char* format,
                   std::va_list arguments)
{
    const FormattedText text(format, arguments);
    net::Packet packet(0);
    const u32 placeBytes = writeInPlace(packet, group, name, text.text, text.length);
    log.append(packet, placeBytes);
}

void obey(const MonitorCommand& command)
{
    if (command.kind == MonitorCommand::Kind::Request)
        s_requests[static_cast<size_t>(command.request)].store(true, std::memory_order_release);
    if (command.kind == MonitorCommand::Kind::Data && s_callback) {
        const RankPause<LockRank::Monitor> pause;
        s_callback->parseData(command.data.c_str());
    }
}

/// Hands over what the tool had sent by now. False when a callback has called init, update or
/// deinit: then connections may be gone, and whatever was left to do has been done.
bool obeyAll(MonitorConnection& connection)
{
    const u64 generation = s_generation;
    MonitorCommand command;
    for (u32 left = connection.waitingCommands(); left > 0; --left) {
        if (!connection.takeCommand(command))
            break;
        obey(command);
        if (s_generation != generation)
            return false;
    }
    return true;
}

/// One update under way, also when a callback throws.
struct UpdateCount
{
    UpdateCount() { ++s_updates; }
    ~UpdateCount() { --s_updates; }
};

void abandonLink()
{
    // Reachable for ever, so that it is no leak by accident.
    static auto& abandoned = *new std::vector<std::unique_ptr<MonitorLink>>;
    if (!s_link)
        return;
    s_link->stop(MonitorLink::Ending::Abandon);
    s_log.load()->stop();
    abandoned.emplace_back(std::exchange(s_link, nullptr));
}

} // namespace

DataParserCallback::~DataParserCallback() = default;

void init(int port)
{
    const MonitorGuard guard(s_monitorLock);
    ++s_generation;
    abandonLink();
    for (auto& request : s_requests)
        request = false;
    try {
        if (!s_log.load())
            s_log = new MonitorLog;
        auto link = std::make_unique<MonitorLink>(port, *s_log.load(), s_backlogBytes);
        link->start();
        s_link = link.release();
    } catch (const std::exception& error) {
        warn("no debug monitor on port %d: %s", port, error.what());
    }
}

void update()
{
    const MonitorGuard guard(s_monitorLock);
    if (!s_link || s_updates == kMaxNestedMonitorUpdates)
        return;
    ++s_generation;
    const UpdateCount count;
    s_link->takeArrived();
    for (size_t index = 0; index < s_link->connections.size();) {
        // Ours too, because a callback may end the monitor.
        const MonitorLink::Connection connection = s_link->connections[index];
        if (!obeyAll(*connection))
            return;
        if (connection->isOver())
            s_link->remove(index);
        else
            ++index;
    }
}

void deinit()
{
    const MonitorGuard guard(s_monitorLock);
    ++s_generation;
    if (!s_link)
        return;
    delete std::exchange(s_link, nullptr);
    s_log.load()->stop();
}

u32 getMonitorPort()
{
    const MonitorGuard guard(s_monitorLock);
    return s_link && s_link->isListening() ? s_link->getPort() : 0;
}

void setMonitorBacklogLimit(u32 bytes)
{
    const MonitorGuard guard(s_monitorLock);
    s_backlogBytes = std::max(bytes, kMinMonitorBacklogBytes);
}

void print(int channel, const char* format, ...)
{
    MonitorLog* log = listeningLog();
    if (!log)
        return;
    std::va_list arguments;
    va_start(arguments, format);
    appendText(*log, channel, format, arguments);
    va_end(arguments);
}

void print(const char* format, ...)
{
    MonitorLog* log = listeningLog();
    if (!log)
        return;
    std::va_list arguments;
    va_start(arguments, format);
    appendText(*log, 0, format, arguments);
    va_end(arguments);
}

void printInPlace(int group, const char* name, const char* format, ...)
{
    MonitorLog* log = listeningLog();
    if (!log)
        return;
    std::va_list arguments;
    va_start(arguments, format);
    appendInPlace(*log, group, name, format, arguments);
    va_end(arguments);
}

void printInPlace(const char* name, const char* format, ...)
{
    MonitorLog* log = listeningLog();
    if (!log)
        return;
    std::va_list arguments;
    va_start(arguments, format);
    appendInPlace(*log, DefaultInPlaceData, name, format, arguments);
    va_end(arguments);
}

const char* getInPlaceGroupName(int group)
{
    switch (group) {
    case DefaultInPlaceData:
        return "Default In Place Data";
    case EngineStatistics:
        return "Engine Statistics";
    case StreamingStatistics:
        return "Streaming Statistics";
    case ResourceStatistics:
        return "Resource Statistics";
    default:
        return "Unknown In Place Data";
    }
}

void broadcastPacket(net::Packet* packet)
{
    MonitorLog* log = listeningLog();
    if (log && packet)
        log->append(*packet);
}

void createProfilePacket()
{
    if (!s_hasProfiled.exchange(true))
        d::Profile::ThreadProfiler::setRecording(true);
    net::Packet packet(static_cast<int>(MonitorPacketId::Profile));
    packet << d::Profile::ThreadProfiler::current();
    broadcastPacket(&packet);
}

bool checkAndClearRequest(int request)
{
    // Without the lock: a thread that asks each frame does not wait for another one's parseData.
    if (request < 0 || request >= kMonitorRequests)
        return false;
    auto& flag = s_requests[static_cast<size_t>(request)];
    return flag.load(std::memory_order_acquire) && flag.exchange(false);
}

void setDataParserCallback(DataParserCallback* callback)
{
    const MonitorGuard guard(s_monitorLock);
    s_callback = callback;
}

} // namespace dm
