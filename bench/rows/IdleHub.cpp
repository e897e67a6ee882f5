#include "bench/Measure.h"
#include "bench/rows/Rows.h"

namespace bench {

Row idleHubRow()
{
    Setup setup;
    setup.members = 64;
    Row row;
    row.name = "hubidle64";
    row.title = "idle hub, 64 members";
    row.unit = "cores";
    row.better = Better::Lower;
    row.contenders = {measured(hubMesh(), setup, idleHubLoad)};
    row.thresholds = {{"", 0.01}};
    row.decimals = 5;
    return row;
}

} // namespace bench
