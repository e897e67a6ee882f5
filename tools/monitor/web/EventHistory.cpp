#include "tools/monitor/web/EventHistory.h"

#include <utility>

namespace monitor {

// What an event takes besides its text: the string, its place in the queue.
static constexpr std::size_t kEventOverheadBytes = 80;
// Longer values are not kept: what they are called and say is the game's to choose. As JSON, where
// a byte may take six.
static constexpr std::size_t kMaxKeptValueBytes = 4096;

EventHistory::EventHistory(std::size_t bytes)
    : maxBytes(bytes)
{
}

void EventHistory::take(MonitorEvents taken)
{
    {
        std::lock_guard guard(lock);
        for (const MonitorEvent& event : taken)
            add(event);
    }
    arrived.notify_all();
}

void EventHistory::add(const MonitorEvent& event)
{
    const u64 number = nextNumber;
    Kept kept{number, toPageJson(event, number)};
    keepState(event, kept.json);
    eventBytes += kept.json.size() + kEventOverheadBytes;
    events.push_back(std::move(kept));
    ++nextNumber;
    while (eventBytes > maxBytes && events.size() > 1) {
        eventBytes -= events.front().json.size() + kEventOverheadBytes;
        events.pop_front();
    }
}

void EventHistory::keepState(const MonitorEvent& event, const std::string& json)
{
    using Kind = MonitorEvent::Kind;
    const u64 number = nextNumber;
    switch (event.kind) {
    case Kind::Connected:
        values.clear(); // it may be another game
        [[fallthrough]];
    case Kind::Lost:
    case Kind::Unreachable:
    case Kind::NotAMonitor:
        connection = {number, json};
        break;
    case Kind::Value:
        keepValue({event.group, event.name}, json);
        break;
    case Kind::Profile:
        profiles.emplace(number, event.profile);
        if (profiles.size() > kKeptProfiles)
            profiles.erase(profiles.begin());
        break;
    case Kind::Text:
    case Kind::LostLines:
        break;
    }
}

void EventHistory::keepValue(const Place& place, const std::string& json)
{
    if (json.size() > kMaxKeptValueBytes)
        values.erase(place); // what it was is no longer true
    else if (values.size() < kMaxKeptValues || values.contains(place))
        values[place] = {nextNumber, json};
}

EventHistory::Batch EventHistory::waitFor(u64 from, Clock::time_point notBefore,
                                          Clock::time_point until)
{
    std::unique_lock guard(lock);
    closing.wait_until(guard, notBefore, [&] { return closed; });
    arrived.wait_until(guard, until, [&] { return closed || from < nextNumber; });
    Batch batch{"", from};
    if (closed || from >= nextNumber)
        return batch;

    const u64 oldest = events.front().number;
    if (from < oldest) {
        appendLostState(from, oldest, batch.json);
        batch.next = oldest;
    }
    while (batch.next < nextNumber && batch.json.size() < kMaxBatchBytes)
        append(events[static_cast<std::size_t>(batch.next++ - oldest)], batch.json);
    batch.json += ']';
    return batch;
}

void EventHistory::append(const Kept& kept, std::string& json) const
{
    json += json.empty() ? '[' : ',';
    json += kept.json;
}

void EventHistory::appendLostState(u64 from, u64 oldest, std::string& json) const
{
    append({0, "[\"skipped\"," + std::to_string(oldest - from) + "]"}, json);
    if (!connection.json.empty() && connection.number < oldest)
        append(connection, json);
    for (const auto& [place, value] : values)
        if (value.number < oldest)
            append(value, json);
}

void EventHistory::close()
{
    {
        std::lock_guard guard(lock);
        closed = true;
    }
    arrived.notify_all();
    closing.notify_all();
}

bool EventHistory::isClosed()
{
    std::lock_guard guard(lock);
    return closed;
}

EventHistory::ProfileBytes EventHistory::profile(u64 number)
{
    std::lock_guard guard(lock);
    const auto found = profiles.find(number);
    return found == profiles.end() ? nullptr : found->second;
}

} // namespace monitor
