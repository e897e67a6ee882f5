#include "bench/Measure.h"
#include "bench/MeasureFiles.h"
#include "bench/rows/Rows.h"

namespace bench {
namespace {

Contender asking(const FileContender& contender)
{
    return {contender.name, [contender](const Settings& settings) {
                return questionsPerSecond(contender, settings);
            }};
}

} // namespace

Row fileStatRow()
{
    Row row;
    row.name = "filestat";
    row.title = "whether a file exists, asked of the file server";
    row.unit = "answers/s";
    row.contenders = {asking(dmFiles()), measured(dmRequests(), {}, roundTripsPerSecond),
                      asking(nginxFiles())};
    row.thresholds = {{"dm", 0.85}, {"nginx", 1.5}};
    return row;
}

} // namespace bench
