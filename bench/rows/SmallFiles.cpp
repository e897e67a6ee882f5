#include "bench/Measure.h"
#include "bench/MeasureFiles.h"
#include "bench/rows/Rows.h"

namespace bench {
namespace {

Contender fetching(const FileContender& contender)
{
    return {contender.name, [contender](const Settings& settings) {
                return smallFilesPerSecond(contender, settings);
            }};
}

/// Opening, which asks twice, and reading: what three round trips of a pipe take at least.
double thirdOfRoundTrips(const RequestContender& contender, const Setup& setup,
                         const Settings& settings)
{
    return roundTripsPerSecond(contender, setup, settings) / 3;
}

} // namespace

Row smallFilesRow()
{
    Row row;
    row.name = "files10k";
    row.title = "10,000 files of 4 KiB opened, read and closed";
    row.unit = "files/s";
    row.contenders = {fetching(dmFiles()), measured(dmRequests(), {}, thirdOfRoundTrips),
                      fetching(nginxFiles())};
    row.thresholds = {{"dm", 0.85}, {"nginx", 0.8}};
    row.note = "dm: a third of its round trips";
    return row;
}

} // namespace bench
