#include "tools/monitor/TraceExport.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <map>
#include <nlohmann/json.hpp>

using d::Profile::Snapshot;
using namespace std::chrono_literals;
using testing::Contains;
using testing::ElementsAre;

namespace {

// A thread whose zones are {name, begin, end}; the clock counts nanoseconds.
Snapshot::Thread thread(zu::u32 id, const std::string& name,
                        const std::vector<std::array<zu::u64, 3>>& zones)
{
    Snapshot::Thread made;
    made.id = id;
    made.name = name;
    for (const auto& [zone, begin, end] : zones)
        made.zones.push_back({static_cast<zu::u32>(zone), 0, begin, end});
    return made;
}

Snapshot snapshot(zu::u64 takenAt, std::vector<Snapshot::Thread> threads)
{
    Snapshot made;
    made.ticksPerSecond = 1'000'000'000;
    made.takenAt = takenAt;
    made.names = {"outer", "inner", "\xFF\"<script>\n"};
    made.threads = std::move(threads);
    return made;
}

// As "process/thread phase name begin duration".
std::vector<std::string> linesOf(const nlohmann::json& trace)
{
    std::vector<std::string> lines;
    for (const nlohmann::json& event : trace["traceEvents"]) {
        std::string& line = lines.emplace_back(event["pid"].dump() + "/" + event["tid"].dump());
        for (const char* key : {"ph", "name", "ts", "dur"})
            if (event.contains(key))
                line += " " + (event[key].is_string() ? event[key].get<std::string>()
                                                      : event[key].dump());
        if (event.contains("args"))
            line += " " + event["args"]["name"].get<std::string>();
    }
    return lines;
}

std::vector<std::string> linesOf(const monitor::TraceExport& trace)
{
    std::string json;
    trace.write([&](std::string_view piece) { json += piece; });
    return linesOf(nlohmann::json::parse(json));
}

} // namespace

TEST(TraceExport, HasZonesInMicrosecondsFramesAndNamesOnTheToolsTimeLine)
{
    Snapshot taken = snapshot(
        5'000'000, {thread(7, "main", {{0, 4'000'000, 4'900'500}, {2, 4'100'000, 4'200'000}})});
    taken.threads[0].frames = {4'000'000};
    monitor::TraceExport trace;
    trace.beginRun("game");
    trace.add(taken, 2s);
    EXPECT_THAT(linesOf(trace),
                ElementsAre("1/0 M process_name game", "1/7 M thread_name main",
                            "1/7 X outer 1999000.0 900.5",
                            "1/7 X \uFFFD\"<script>\n 1999100.0 100.0", "1/7 i frame 1999000.0"));
    EXPECT_THAT(linesOf(nlohmann::json::parse(monitor::toTrace(taken, "game"))),
                Contains("1/7 X outer 0.0 900.5"))
        << "nothing is earlier than 0";
}

TEST(TraceExport, AddsOnlyWhatEarlierSnapshotsOfTheRunDidNotHave)
{
    monitor::TraceExport trace;
    trace.beginRun("first");
    trace.add(snapshot(1000, {thread(7, "main", {{1, 100, 200}})}), 1ms);
    // The zone around it has ended since; and a thread has got the number of one that ended.
    Snapshot second = snapshot(2000, {thread(7, "new", {{1, 1500, 1600}}),
                                      thread(7, "main", {{0, 50, 1000}, {1, 100, 200}})});
    trace.add(second, 2ms);
    EXPECT_EQ(trace.entries(), 3u);
    trace.beginRun("second");
    trace.add(second, 3ms);
    EXPECT_EQ(trace.entries(), 6u);
    const auto lines = linesOf(trace);
    EXPECT_THAT(lines, Contains("1/7 X outer 999.05 0.95"));
    EXPECT_THAT(lines, Contains("1/10000007 X inner 1000.5 0.1"));
    EXPECT_THAT(lines, Contains("2/7 M thread_name main"));
}

TEST(TraceExport, KeepsToItsLimitsWhateverComes)
{
    monitor::TraceExport trace;
    constexpr zu::u32 kThreads = monitor::TraceExport::kMaxThreads + 10;
    for (zu::u32 id = 0; id < kThreads; ++id)
        trace.add(snapshot(1, {thread(id, "short-lived", {{0, 0, 1}})}),
                  std::chrono::microseconds::max());
    EXPECT_EQ(trace.entries(), monitor::TraceExport::kMaxThreads);
    EXPECT_EQ(trace.droppedEntries(), 10u);
    EXPECT_EQ(linesOf(trace).size(), 1 + 2 * monitor::TraceExport::kMaxThreads);
}

TEST(TraceExport, IsProperlyNestedWhateverTheSnapshotSays)
{
    const zu::u64 never = ~zu::u64{0};
    Snapshot taken = snapshot(never, {thread(0, "",
                                             {{0, 0, 1000},
                                              {1, 0, 1000},
                                              {1, 500, 2000},
                                              {0, 600, never},
                                              {1, 1000, 1000},
                                              {0, 900, 950}})});
    taken.ticksPerSecond = 1;
    const auto events = nlohmann::json::parse(monitor::toTrace(taken, ""))["traceEvents"];
    std::vector<double> ends;
    int zones = 0;
    for (const nlohmann::json& event : events) {
        if (event["ph"] != "X")
            continue;
        const double begin = event["ts"];
        const double end = begin + event["dur"].get<double>();
        while (!ends.empty() && ends.back() <= begin)
            ends.pop_back();
        EXPECT_GE(begin, 0);
        EXPECT_TRUE(ends.empty() || end <= ends.back()) << event;
        ends.push_back(end);
        ++zones;
    }
    EXPECT_EQ(zones, 6);
}
