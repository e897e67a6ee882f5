#include "bench/Measure.h"
#include "bench/rows/Rows.h"

namespace bench {
namespace {

Row responseRow(size_t answerBytes)
{
    Setup setup;
    setup.answerBytes = answerBytes;
    Row row;
    row.unit = "MB/s";
    for (const RequestContender& contender : {dmRequests(), rawTcp(), zeroMqRequests()})
        row.contenders.push_back(measured(contender, setup, megabytesPerSecond));
    return row;
}

} // namespace

Row mediumResponseRow()
{
    Row row = responseRow(1 << 20);
    row.name = "response1m";
    row.title = "response payload 1 MiB into the caller's buffer";
    row.thresholds = {{"tcp", 1.0}, {"zeromq", 1.0}};
    return row;
}

Row largeResponseRow()
{
    Row row = responseRow(64 << 20);
    row.name = "response64m";
    row.title = "response payload 64 MiB into the caller's buffer";
    row.thresholds = {{"tcp", 0.7}, {"zeromq", 2.0}};
    return row;
}

} // namespace bench
