/// How figures are taken from contenders: warm up, then count for the time set.
#pragma once

#include "bench/Row.h"
#include "bench/contenders/Contenders.h"

#include <vector>

namespace bench {

/// One fresh server process and client, asking one request after another.
double roundTripsPerSecond(const RequestContender& contender, const Setup& setup,
                           const Settings& settings);

/// The same with so many threads asking at once, on one connection object.
double roundTripsPerSecond(const RequestContender& contender, const Setup& setup,
                           const Settings& settings, unsigned threads);

/// Answers' payload received into the caller's buffer, in MB (10^6 bytes) a second.
double megabytesPerSecond(const RequestContender& contender, const Setup& setup,
                          const Settings& settings);

/// Messages taken out by the receiving program, a second, the sending program's backlog included.
double notificationsPerSecond(const NotifyContender& contender, const Setup& setup,
                              const Settings& settings);

/// The 99th percentile of a round trip in microseconds, with idle connections to the same server
/// beside it that say nothing.
double p99Microseconds(const RequestContender& contender, const Setup& setup,
                       const Settings& settings, unsigned idleConnections);

/// The share of a core that a server uses while so many connected clients, which have all asked
/// something once, say nothing.
double idleServerLoad(const RequestContender& contender, const Setup& setup,
                      const Settings& settings, unsigned clients);

/// Exactly `count` round trips, for counting what they cost.
void askTimes(const RequestContender& contender, const Setup& setup, unsigned count);

/// A contender of a row from a measurement and what it needs.
Contender measured(const RequestContender& contender, const Setup& setup,
                   double (*measure)(const RequestContender&, const Setup&, const Settings&));

} // namespace bench
