#include "tools/sandbox/ProfileReport.h"

#include <zul/InplaceString.h>

#include <algorithm>
#include <map>

namespace sandbox {

namespace {

struct Sum
{
    std::string name;
    unsigned calls = 0;
    double total = 0;
    double longest = 0;
};

} // namespace

std::vector<std::string> profileReport(const d::Profile::Snapshot& snapshot)
{
    std::map<zu::u32, Sum> byName;
    for (const d::Profile::Snapshot::Thread& thread : snapshot.threads) {
        for (const d::Profile::Snapshot::Zone& zone : thread.zones) {
            const double microseconds = snapshot.microseconds(zone.begin, zone.end);
            Sum& sum = byName[zone.name];
            ++sum.calls;
            sum.total += microseconds;
            sum.longest = std::max(sum.longest, microseconds);
        }
    }
    std::vector<Sum> sums;
    for (auto& [name, sum] : byName) {
        sum.name = snapshot.names[name];
        sums.push_back(sum);
    }
    std::sort(sums.begin(), sums.end(),
              [](const Sum& one, const Sum& other) { return one.total > other.total; });
    std::vector<std::string> lines;
    for (const Sum& sum : sums)
        lines.emplace_back(zu::str("  %-20s %7u times %10.1f us each %10.1f us at most",
                                   sum.name.c_str(), sum.calls, sum.total / sum.calls, sum.longest)
                               .c_str());
    return lines;
}

} // namespace sandbox
