#include "bench/Measure.h"
#include "bench/rows/Rows.h"

namespace bench {
namespace {

Contender fanningOut(const FanOutContender& contender, unsigned members)
{
    return {contender.name, [contender, members](const Settings& settings) {
                return deliveriesPerSecond(contender, settings, members);
            }};
}

Row fanOutRow(unsigned members)
{
    Row row;
    row.name = "hubfan" + std::to_string(members);
    row.title = "notifications of 64 B through a hub to " + std::to_string(members) + " members";
    row.unit = "deliveries/s";
    row.contenders = {fanningOut(hubFanOut(), members), fanningOut(zeroMqProxy(), members)};
    row.thresholds = {{"zeromq-proxy", 0.5}};
    return row;
}

} // namespace

Row smallFanOutRow() { return fanOutRow(8); }
Row largeFanOutRow() { return fanOutRow(64); }

} // namespace bench
