#include "bench/Measure.h"
#include "bench/rows/Rows.h"

#include <algorithm>
#include <cstdio>
#include <map>

namespace bench {
namespace {

// The difference of two runs leaves out what starting and ending costs.
constexpr unsigned kFewRoundTrips = 500;
constexpr unsigned kManyRoundTrips = 2500;

std::map<std::string, double> countWith(const std::string& contender, unsigned roundTrips)
{
    std::map<std::string, double> counts;
    for (const SystemCall& call :
         countSystemCalls({"--ask", contender, "--count", std::to_string(roundTrips)}))
        counts[call.name] += call.calls;
    return counts;
}

/// Prints the calls that matter to stderr, where they do not stand in the way of a JSON reader.
double callsPerRoundTrip(const std::string& contender)
{
    const auto few = countWith(contender, kFewRoundTrips);
    double total = 0;
    std::fprintf(stderr, "  %s:", contender.c_str());
    for (const auto& [name, calls] : countWith(contender, kManyRoundTrips)) {
        const auto before = few.find(name);
        const double each = (calls - (before == few.end() ? 0 : before->second)) /
                            (kManyRoundTrips - kFewRoundTrips);
        total += each;
        if (each >= 0.05)
            std::fprintf(stderr, " %s %.2f", name.c_str(), each);
    }
    std::fprintf(stderr, "\n");
    return total;
}

Contender counted(const RequestContender& contender)
{
    return {contender.name,
            [name = contender.name](const Settings&) { return callsPerRoundTrip(name); }};
}

} // namespace

Row systemCallsRow()
{
    Row row;
    row.name = "syscalls64";
    row.title = "system calls of a 64 B round trip, both ends together, sched_yield included";
    row.unit = "calls";
    row.better = Better::Lower;
    row.contenders = {counted(dmRequests()), counted(hopLimit()), counted(zeroMqRequests())};
    row.decimals = 1;
    row.note = "tracing slows every call down, so that there are more waits than without";
    return row;
}

} // namespace bench
