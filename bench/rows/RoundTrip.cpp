#include "bench/Measure.h"
#include "bench/rows/Rows.h"

namespace bench {
namespace {

std::vector<Contender> roundTripContenders(unsigned yieldMicroseconds)
{
    Setup setup;
    setup.yieldMicroseconds = yieldMicroseconds;
    std::vector<Contender> contenders;
    for (const RequestContender& contender : {dmRequests(), hopLimit(), zeroMqRequests()})
        contenders.push_back(measured(contender, setup, roundTripsPerSecond));
    return contenders;
}

} // namespace

Row roundTripRow()
{
    Row row;
    row.name = "rtt64";
    row.title = "request 64 B, response 64 B, hops that yield up to 50 us";
    row.unit = "round trips/s";
    row.contenders = roundTripContenders(50);
    row.thresholds = {{"limit", 0.8}, {"zeromq", 3.5}};
    return row;
}

Row blockingRoundTripRow()
{
    Row row;
    row.name = "rtt64-blocking";
    row.title = "request 64 B, response 64 B, hops that block at once";
    row.unit = "round trips/s";
    row.contenders = roundTripContenders(0);
    row.thresholds = {{"limit", 0.9}, {"zeromq", 1.1}};
    return row;
}

} // namespace bench
