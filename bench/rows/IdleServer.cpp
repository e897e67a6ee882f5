#include "bench/Measure.h"
#include "bench/rows/Rows.h"

namespace bench {
namespace {

constexpr unsigned kClients = 64;

Contender idling(const RequestContender& contender)
{
    return {contender.name, [contender](const Settings& settings) {
                Setup setup;
                // A connection's client asks on the pipe of its own number.
                setup.pipes = kClients;
                return idleServerLoad(contender, setup, settings, kClients);
            }};
}

} // namespace

Row idleServerRow()
{
    Row row;
    row.name = "idle64";
    row.title = "idle server, 64 connected clients";
    row.unit = "cores";
    row.better = Better::Lower;
    row.contenders = {idling(dmRequests()), idling(zeroMqRouter())};
    row.thresholds = {{"", 0.002}};
    row.decimals = 5;
    return row;
}

} // namespace bench
