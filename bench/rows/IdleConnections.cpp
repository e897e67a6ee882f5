#include "bench/Measure.h"
#include "bench/rows/Rows.h"

namespace bench {
namespace {

constexpr unsigned kIdleConnections = 1000;

Contender besideIdle(const RequestContender& contender, const char* suffix, unsigned idle)
{
    return {contender.name + suffix, [contender, idle](const Settings& settings) {
                return p99Microseconds(contender, {}, settings, idle);
            }};
}

} // namespace

Row idleConnectionsRow()
{
    Row row;
    row.name = "idle1000";
    row.title = "p99 of a 64 B round trip beside 1,000 idle connections";
    row.unit = "us";
    row.better = Better::Lower;
    row.contenders = {besideIdle(dmRequests(), "-beside", kIdleConnections),
                      besideIdle(dmRequests(), "-alone", 0),
                      besideIdle(zeroMqRequests(), "-beside", kIdleConnections),
                      besideIdle(zeroMqRequests(), "-alone", 0)};
    row.thresholds = {{"dm-alone", 2.0}};
    row.decimals = 1;
    return row;
}

} // namespace bench
