#include "tools/monitor/TraceExport.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <unordered_set>
#include <utility>

namespace monitor {

namespace {

constexpr std::size_t kPieceBytes = 64 * 1024;

std::string toJson(const std::string& text)
{
    return nlohmann::json(text).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

// The newest of what a thread shows.
u64 newestEnd(const d::Profile::Snapshot::Thread& thread)
{
    u64 end = thread.frames.empty() ? 0 : thread.frames.back();
    for (const d::Profile::Snapshot::Zone& zone : thread.zones)
        end = std::max(end, zone.end);
    return end;
}

// Builds the list of events and gives it away piece by piece.
class EventWriter
{
public:
    EventWriter(const TraceExport::Write& pieceWriter, s64 startTime)
        : write(pieceWriter)
        , start(startTime)
    {
        piece = "{\"displayTimeUnit\":\"ms\",\"traceEvents\":[";
    }

    void finish()
    {
        piece += "\n]}\n";
        write(piece);
    }

    void nameOf(const char* what, std::size_t process, u64 thread, const std::string& name)
    {
        open('M', process, thread);
        piece.append(",\"name\":\"").append(what);
        piece.append("\",\"args\":{\"name\":").append(toJson(name)).append("}");
        close();
    }

    void zone(std::size_t process, u64 thread, s64 begin, s64 end, const std::string& name)
    {
        open('X', process, thread);
        number("ts", begin - start);
        number("dur", end - begin);
        piece.append(",\"name\":").append(name);
        close();
    }

    void frame(std::size_t process, u64 thread, s64 time)
    {
        open('i', process, thread);
        number("ts", time - start);
        piece += ",\"s\":\"t\",\"name\":\"frame\"";
        close();
    }

private:
    void open(char phase, std::size_t process, u64 thread)
    {
        piece.append(isFirst ? "\n{\"ph\":\"" : ",\n{\"ph\":\"").append(1, phase);
        piece.append("\",\"pid\":").append(std::to_string(process));
        piece.append(",\"tid\":").append(std::to_string(thread));
        isFirst = false;
    }

    void number(const char* key, s64 nanoseconds)
    {
        char text[64];
        const int length = std::snprintf(text, sizeof text, ",\"%s\":%lld.%03lld", key,
                                         static_cast<long long>(nanoseconds / 1000),
                                         static_cast<long long>(nanoseconds % 1000));
        piece.append(text, static_cast<std::size_t>(length));
    }

    void close()
    {
        piece += '}';
        if (piece.size() < kPieceBytes)
            return;
        write(piece);
        piece.clear();
    }

    const TraceExport::Write& write;
    const s64 start;
    std::string piece;
    bool isFirst = true;
};

// What lies around what, whatever the snapshot claims: sorted outer before inner, and a zone that
// reaches out of the one around it is cut off there.
void putInOrder(std::vector<TraceExport::Entry>& zones)
{
    std::stable_sort(zones.begin(), zones.end(), [](const auto& left, const auto& right) {
        return left.begin != right.begin ? left.begin < right.begin : left.end > right.end;
    });
    std::vector<s64> ends; // of the zones around
    for (TraceExport::Entry& zone : zones) {
        while (!ends.empty() && ends.back() <= zone.begin)
            ends.pop_back();
        if (!ends.empty())
            zone.end = std::min(zone.end, ends.back());
        ends.push_back(zone.end);
    }
}

} // namespace

void TraceExport::beginRun(std::string name)
{
    isRunAwaited = true;
    awaitedName = std::move(name);
}

void TraceExport::add(const Source& snapshot, std::chrono::microseconds time)
{
    if (std::exchange(isRunAwaited, false)) {
        Run& begun = runs.emplace_back();
        begun.name = awaitedName;
        begun.clockTicks = snapshot.takenAt;
        constexpr std::chrono::microseconds kLongest = std::chrono::hours(24 * 365 * 30);
        begun.clockTime = std::chrono::nanoseconds(std::clamp(time, -kLongest, kLongest)).count();
    }
    // Of threads that had one number in turn, the earlier first.
    std::vector<std::pair<u64, const Source::Thread*>> threads;
    for (const Source::Thread& thread : snapshot.threads)
        threads.emplace_back(newestEnd(thread), &thread);
    std::stable_sort(threads.begin(), threads.end(),
                     [](const auto& left, const auto& right) { return left.first < right.first; });
    for (const auto& [end, thread] : threads)
        addThread(runs.back(), snapshot, *thread);
}

void TraceExport::addThread(Run& run, const Source& snapshot, const Source::Thread& source)
{
    Thread* const thread = findThread(run, source);
    if (thread == nullptr) {
        dropped += source.zones.size() + source.frames.size();
        return;
    }
    u64& known = run.newestEnds[source.id];
    for (const Source::Zone& zone : source.zones) {
        if (zone.end <= known)
            continue;
        if (added == kMaxEntries) {
            ++dropped;
            continue;
        }
        ++added;
        thread->zones.push_back({run.toTime(snapshot, zone.begin), run.toTime(snapshot, zone.end),
                                 idOf(snapshot.names[zone.name])});
    }
    for (const u64 frame : source.frames) {
        if (frame <= known)
            continue;
        if (added == kMaxEntries) {
            ++dropped;
            continue;
        }
        ++added;
        thread->frames.push_back(run.toTime(snapshot, frame));
    }
    known = std::max(known, newestEnd(source));
}

// Makes it if there is room.
TraceExport::Thread* TraceExport::findThread(Run& run, const Source::Thread& source)
{
    const auto found =
        std::find_if(run.threads.begin(), run.threads.end(), [&](const Thread& thread) {
            return thread.id == source.id && thread.name == source.name;
        });
    if (found != run.threads.end())
        return &*found;
    if (run.threads.size() == kMaxThreads)
        return nullptr;
    Thread& made = run.threads.emplace_back();
    made.id = source.id;
    made.name = source.name;
    return &made;
}

s64 TraceExport::Run::toTime(const Source& snapshot, u64 ticks) const
{
    constexpr double kYearsInNanoseconds = 1e18; // what lies beyond is no time of a real program
    const double passed = snapshot.microseconds(clockTicks, ticks) * 1000;
    return clockTime + std::llround(std::clamp(passed, -kYearsInNanoseconds, kYearsInNanoseconds));
}

u32 TraceExport::idOf(const std::string& name)
{
    const auto found = nameIds.find(name);
    if (found != nameIds.end())
        return found->second;
    if (names.size() == kMaxNames && name != "(other zones)")
        return idOf("(other zones)");
    const u32 id = static_cast<u32>(names.size());
    names.push_back(toJson(name));
    nameIds.emplace(name, id);
    return id;
}

s64 TraceExport::earliest() const
{
    s64 time = 0;
    for (const Run& run : runs)
        for (const Thread& thread : run.threads) {
            for (const Entry& zone : thread.zones)
                time = std::min(time, zone.begin);
            for (const s64 frame : thread.frames)
                time = std::min(time, frame);
        }
    return time;
}

void TraceExport::write(const Write& write) const
{
    EventWriter writer(write, earliest());
    for (std::size_t process = 1; process <= runs.size(); ++process) {
        const Run& run = runs[process - 1];
        writer.nameOf("process_name", process, 0, run.name);
        std::unordered_set<u64> taken;
        for (const Thread& thread : run.threads) {
            u64 number = thread.id;
            while (!taken.insert(number).second)
                number += 10 * 1000 * 1000; // above what systems give to threads
            writer.nameOf("thread_name", process, number,
                          thread.name.empty() ? "thread " + std::to_string(thread.id)
                                              : thread.name);
            std::vector<Entry> zones = thread.zones;
            putInOrder(zones);
            for (const Entry& zone : zones)
                writer.zone(process, number, zone.begin, zone.end, names[zone.name]);
            for (const s64 frame : thread.frames)
                writer.frame(process, number, frame);
        }
    }
    writer.finish();
}

std::string toTrace(const d::Profile::Snapshot& snapshot, const std::string& name)
{
    TraceExport trace;
    trace.beginRun(name);
    trace.add(snapshot, std::chrono::microseconds(0));
    std::string json;
    trace.write([&](std::string_view piece) { json += piece; });
    return json;
}

} // namespace monitor
