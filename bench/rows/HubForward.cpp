#include "bench/Measure.h"
#include "bench/rows/Rows.h"

namespace bench {

Row hubForwardRow()
{
    Row row;
    row.name = "hubforward";
    row.title = "request 64 B, response 64 B, through a hub and beside it directly";
    row.unit = "round trips/s";
    row.contenders = {measured(hubForward(), {}, roundTripsPerSecond),
                      measured(dmRequests(), {}, roundTripsPerSecond)};
    row.thresholds = {{"dm", 0.4}};
    return row;
}

} // namespace bench
