/// Profiles of a game as a Chrome trace: JSON that trace viewers open.
///
///     TraceExport trace;
///     trace.add(snapshot, event.time);
///     trace.write([&](std::string_view piece) { file.write(piece.data(), piece.size()); });
///
/// Times are microseconds, with three decimals, since the tool started, or since the first zone if
/// that began earlier. Each thread of the game is one, with its name; zones are complete events,
/// outer before inner and properly within each other whatever the snapshot says; frames are instant
/// events.
///
/// Snapshots of one run overlap: a zone that is there already is not added again. A run is a
/// process of the trace: call beginRun for each connection, as the next one may be to another game.
///
/// Without I/O. Threads: one at a time.
/// Limits: kMaxEntries zones and frames, kMaxThreads; what comes beyond is counted in
/// droppedEntries.
#pragma once

#include <zul/ProfileSnapshot.h>

#include <chrono>
#include <functional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace monitor {

using zu::s64;
using zu::u32;
using zu::u64;

class TraceExport
{
public:
    static constexpr std::size_t kMaxEntries = 4 * 1000 * 1000;
    /// Zones of further names are called "(other zones)".
    static constexpr std::size_t kMaxNames = 64 * 1024;
    /// What further threads of a run did is dropped.
    static constexpr std::size_t kMaxThreads = 4096;

    struct Entry
    {
        s64 begin = 0; // in nanoseconds on the tool's time line
        s64 end = 0;
        u32 name = 0; // index into names
    };

    using Write = std::function<void(std::string_view)>;

    /// What is added from here on is another run's.
    ///
    ///   name   of the process in the trace, as the game's address.
    void beginRun(std::string name);

    ///   time   when the snapshot came, since the tool started: where on the time line it belongs.
    void add(const d::Profile::Snapshot& snapshot, std::chrono::microseconds time);

    u64 entries() const { return added; }
    u64 droppedEntries() const { return dropped; }

    /// Gives the whole trace in pieces. Can be called again.
    void write(const Write& write) const;

private:
    using Source = d::Profile::Snapshot;

    struct Thread
    {
        u32 id = 0; // the system's number, which another one may have as well
        std::string name;
        std::vector<Entry> zones;
        std::vector<s64> frames;
    };

    struct Run
    {
        s64 toTime(const Source& snapshot, u64 ticks) const;

        std::string name;
        std::vector<Thread> threads;
        std::unordered_map<u32, u64> newestEnds; // what is there, in ticks, by number of the thread
        u64 clockTicks = 0;                      // this moment of the game's clock ...
        s64 clockTime = 0;                       // ... is this one of the time line, in nanoseconds
    };

    void addThread(Run& run, const Source& snapshot, const Source::Thread& source);
    static Thread* findThread(Run& run, const Source::Thread& source);
    u32 idOf(const std::string& name);
    s64 earliest() const;

    bool isRunAwaited = true; // the next snapshot begins one
    std::string awaitedName;
    std::vector<Run> runs;
    std::vector<std::string> names; // as JSON
    std::unordered_map<std::string, u32> nameIds;
    u64 added = 0;
    u64 dropped = 0;
};

/// One snapshot as a trace of its own, which begins at 0.
std::string toTrace(const d::Profile::Snapshot& snapshot, const std::string& name);

} // namespace monitor
