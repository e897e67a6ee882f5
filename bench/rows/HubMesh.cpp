#include "bench/Measure.h"
#include "bench/rows/Rows.h"

namespace bench {

Row hubMeshRow()
{
    Setup setup;
    setup.members = 16;
    Row row;
    row.name = "hubmesh16";
    row.title = "16 members of a hub asking each other at once, 64 B each way";
    row.unit = "p99 / p50 of the worst member";
    row.better = Better::Lower;
    row.contenders = {measured(hubMesh(), setup, worstTail)};
    row.thresholds = {{"", 5}};
    row.decimals = 2;
    return row;
}

} // namespace bench
