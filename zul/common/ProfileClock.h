/// Seam: the cheapest clock that is right.
///
/// A counter of the processor may serve only where it runs at one rate in all states of the
/// processor and agrees between its cores; elsewhere it is the system's monotonic clock.
///
/// Threads: any, all functions.
#pragma once

#include <zul/Types.h>

namespace d::Profile {

/// Costs a few nanoseconds. Two readings of one thread may come out of order by some nanoseconds.
zu::u64 profileTicks() noexcept;

/// How many of them a second has, always the same in a process. The first call may take a
/// millisecond to measure it.
zu::u64 profileTicksPerSecond() noexcept;

} // namespace d::Profile
