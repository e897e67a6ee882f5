#include "bench/Measure.h"
#include "bench/rows/Rows.h"

namespace bench {
namespace {

constexpr unsigned kThreads = 16;

Contender manyThreads(const RequestContender& contender)
{
    return {contender.name, [contender](const Settings& settings) {
                Setup setup;
                setup.pipes = settings.pipes;
                return roundTripsPerSecond(contender, setup, settings, kThreads);
            }};
}

} // namespace

Row manyThreadsRow()
{
    Row row;
    row.name = "threads16";
    row.title = "16 threads requesting, 64 B each way";
    row.unit = "round trips/s";
    row.contenders = {manyThreads(dmRequests()), manyThreads(zeroMqRouter())};
    row.thresholds = {{"zeromq-router", 1.3}};
    row.note = "ours over --pipes pipes (4 by default) of one connection, one answering thread a "
               "pipe; ZeroMQ over 16 DEALER sockets to one ROUTER";
    return row;
}

} // namespace bench
