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

/// Messages taken by all members together, a second; the sender is not one of them.
double deliveriesPerSecond(const FanOutContender& contender, const Settings& settings,
                           unsigned members);

/// How uneven it is when setup.members clients ask at once: the 99th percentile of a client's round
/// trips as a multiple of its median, of the client with the largest. Prints all to stderr.
double worstTail(const RequestContender& contender, const Setup& setup, const Settings& settings);

/// The 99th percentile of a round trip in microseconds, with idle connections to the same server
/// beside it that say nothing.
double p99Microseconds(const RequestContender& contender, const Setup& setup,
                       const Settings& settings, unsigned idleConnections);

/// The share of a core that a server uses while so many connected clients, which have all asked
/// something once, say nothing.
double idleServerLoad(const RequestContender& contender, const Setup& setup,
                      const Settings& settings, unsigned clients);

/// The same for a server with one connection of setup.members clients that never ask.
double idleHubLoad(const RequestContender& contender, const Setup& setup, const Settings& settings);

/// Exactly `count` round trips, for counting what they cost.
void askTimes(const RequestContender& contender, const Setup& setup, unsigned count);

/// A contender of a row from a measurement and what it needs.
Contender measured(const RequestContender& contender, const Setup& setup,
                   double (*measure)(const RequestContender&, const Setup&, const Settings&));

} // namespace bench
