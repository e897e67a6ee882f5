#include "bench/Measure.h"
#include "bench/rows/Rows.h"

namespace bench {
namespace {

Contender notifying(const NotifyContender& contender)
{
    return {contender.name, [contender](const Settings& settings) {
                return notificationsPerSecond(contender, {}, settings);
            }};
}

} // namespace

Row notificationRow()
{
    Row row;
    row.name = "notify64";
    row.title = "notifications of 64 B delivered over one pipe";
    row.unit = "notifications/s";
    row.contenders = {notifying(dmNotifications()), notifying(zeroMqPush())};
    row.thresholds = {{"", 1.5e6}};
    return row;
}

} // namespace bench
