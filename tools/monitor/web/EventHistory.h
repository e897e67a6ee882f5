/// What web pages are told: the events as JSON, kept for pages that are opened later or that fall
/// behind.
///
///     EventHistory history;
///     history.take(events);                               // the monitor's thread
///     ...
///     EventHistory::Batch batch = history.waitFor(0, ...); // a page's thread
///     send(batch.json);
///     batch = history.waitFor(batch.next, ...);
///
/// Events are numbered from 0. As JSON each is an array that begins with its kind:
///
///     ["text", seconds, channel, text]
///     ["value", seconds, group, group's name, name, text]
///     ["lines lost", seconds, count]              between the game and this tool
///     ["connected", seconds, milliseconds since 1970, address]
///     ["disconnected", seconds, milliseconds since 1970, why]
///     ["profile", seconds, number]                see profile()
///     ["skipped", count]                          events that are no longer kept
///
/// Texts of more than kMaxTextBytes are cut; bytes that are not UTF-8 become replacement
/// characters.
///
/// Threads: any. Limits: maxBytes of events, kMaxKeptValues values, kKeptProfiles profiles. Whoever
/// asks for events that are gone is told how many, gets the state that they left behind, namely the
/// connection and the values, and then goes on with the oldest.
#pragma once

#include "tools/monitor/MonitorEvent.h"

#include <chrono>
#include <condition_variable>
#include <deque>
#include <map>
#include <mutex>
#include <string>

namespace monitor {

class EventHistory
{
public:
    static constexpr std::size_t kDefaultBytes = 16 * 1024 * 1024;
    static constexpr std::size_t kMaxTextBytes = 4096;
    static constexpr std::size_t kMaxKeptValues = 4096;
    static constexpr std::size_t kKeptProfiles = 4;
    static constexpr std::size_t kMaxBatchBytes = 512 * 1024;

    struct Batch
    {
        std::string json; ///< an array of events; "" when none came in time
        u64 next = 0;     ///< the number of the event to go on with
    };

    using Clock = std::chrono::steady_clock;
    using ProfileBytes = std::shared_ptr<const std::vector<u8>>;

    explicit EventHistory(std::size_t maxBytes = kDefaultBytes);

    void take(MonitorEvents events);

    /// Events from the given number on, as soon as there are any.
    ///
    ///   notBefore   waits at least until then, so that a busy game fills batches.
    ///   until       gives up then.
    Batch waitFor(u64 from, Clock::time_point notBefore, Clock::time_point until);

    /// Ends all waiting, for good.
    void close();
    bool isClosed();

    /// Null when it is no longer kept.
    ProfileBytes profile(u64 number);

private:
    struct Kept
    {
        u64 number = 0;
        std::string json;
    };
    using Place = std::pair<int, std::string>;

    void add(const MonitorEvent& event);
    void keepState(const MonitorEvent& event, const std::string& json);
    void keepValue(const Place& place, const std::string& json);
    void append(const Kept& kept, std::string& json) const;
    void appendLostState(u64 from, u64 oldest, std::string& json) const;

    const std::size_t maxBytes;

    std::mutex lock; // a leaf; all below is under it
    std::condition_variable arrived;
    std::condition_variable closing;
    bool closed = false;
    u64 nextNumber = 0;
    std::deque<Kept> events; // without gaps, up to nextNumber
    std::size_t eventBytes = 0;
    Kept connection; // newest
    std::map<Place, Kept> values;
    std::map<u64, ProfileBytes> profiles;
};

/// One event as the page gets it.
std::string toPageJson(const MonitorEvent& event, u64 number);

/// A snapshot as the page draws it:
///
///     {"names": [...], "microseconds": span, "threads": [{"name", "id", "ended",
///      "zones": [name, depth, begin, length, name, depth, ...], "frames": [...]}]}
///
/// Times in there are microseconds since the earliest of the snapshot. "" for bytes that no
/// profiler wrote.
std::string profileToPageJson(const std::vector<u8>& bytes);

} // namespace monitor
