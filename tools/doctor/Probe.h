/// Looks at a port: connects, listens to what is said, and says no more than it must.
///
///     const Observation seen = doctor::observe({{"127.0.0.1", 3600}, ""}, 2s);
///
/// Programs for pipes greet whoever connects, a debug monitor does not. So who says nothing is sent
/// a packet that a monitor overlooks and others stumble over, and then one that a monitor, too,
/// hangs up on. Whoever says nothing to that either is stalled.
///
/// What a look costs the other end: a connection of some milliseconds, or as long as it is silent.
/// A hub makes a member for it, which never joins, and a file server a session without a game. Only
/// when a pipe is asked for it goes where it is redirected to, and then takes the pipe from whoever
/// has it, as each connection does that asks for one.
#pragma once

#include "tools/doctor/Observation.h"

#include <chrono>

namespace doctor {

/// Takes no longer than `patience`, and a few milliseconds more to look at the system's tables.
/// Threads: any, each its own.
Observation observe(const Target& target, std::chrono::milliseconds patience);

} // namespace doctor
