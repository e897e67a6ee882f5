/// Profiles of a game as a Chrome trace: JSON that trace viewers open.
///
///     TraceExport trace;
///     trace.add(snapshot, event.time);
///     trace.write([&](std::string_view piece) { file.write(piece.data(), piece.size()); });
///
/// Times are microseconds, with three decimals, since the tool started. Each thread of the game is
/// one, with its name; zones are complete events, outer before inner and properly within each other
/// whatever the snapshot says; frames are instant events.
///
/// Snapshots of one run overlap: a zone that is there already is not added again. A run is a
/// process of the trace: call beginRun for each connection, as the next one may be to another game.
///
/// Without I/O. Threads: one at a time.
/// Limits: kMaxEntries zones and frames; what comes beyond is counted in droppedEntries.
#pragma once

#include <zul/ProfileSnapshot.h>

#include <chrono>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace monitor {

using zu::u32;
using zu::u64;

class TraceExport
{
public:
    static constexpr std::size_t kMaxEntries = 4 * 1000 * 1000;

    using Write = std::function<void(std::string_view)>;

    /// What is added from here on is another run's.
    ///
    ///   name   of the process in the trace, as the game's address.
    void beginRun(std::string name);

    ///   time   when the snapshot came, since the tool started: where on the time line it belongs.
    void add(const d::Profile::Snapshot& snapshot, std::chrono::microseconds time);

    bool isEmpty() const { return entries == 0; }
    u64 droppedEntries() const { return dropped; }

    /// Gives the whole trace in pieces of some 64 KiB. Can be called again.
    void write(const Write& write) const;

private:
    struct Entry
    {
        u64 begin = 0; // in nanoseconds on the tool's time line
        u64 end = 0;
        u32 name = 0; // index into names; kFrame
    };

    struct Thread
    {
        u32 id = 0;
        std::string name;
        std::vector<Entry> entries;
    };

    struct Run
    {
        std::string name;
        std::vector<Thread> threads;
        std::map<u32, u64> newestEnds; // in ticks, by the system's number of the thread
        bool hasClock = false;
        u64 clockTicks = 0; // this moment of the game's clock ...
        u64 clockTime = 0;  // ... is this one of the tool's, in nanoseconds
    };

    static constexpr u32 kFrame = ~u32{0};

    void addThread(Run& run, const d::Profile::Snapshot& snapshot,
                   const d::Profile::Snapshot::Thread& source, const std::vector<u32>& nameIds);
    u32 idOf(const std::string& name);

    std::vector<Run> runs;
    std::vector<std::string> names; // as JSON
    std::unordered_map<std::string, u32> nameIds;
    std::size_t entries = 0;
    u64 dropped = 0;
};

/// One snapshot as a trace of its own, its newest end near `time`.
std::string toTrace(const d::Profile::Snapshot& snapshot, const std::string& name);

} // namespace monitor
