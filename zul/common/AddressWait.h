/// Seam: sleeping until a word in memory changes.
///
/// Works like the kernel half of a lock: the word itself says what is going on, and these two are
/// called only when a thread has to sleep or may have to be woken. Within one process.
#pragma once

#include <zul/Types.h>

#include <atomic>
#include <chrono>

namespace zu {

inline constexpr std::chrono::nanoseconds kWaitForever = std::chrono::nanoseconds::max();

/// Sleeps while `word` is `expected`, until woken or the time is up. Comparing and falling asleep
/// are one step with respect to the wakes below: a word that was changed, and woken, in between is
/// not slept on. May return early for no reason; callers look at the word again.
void waitOnAddress(std::atomic<u32>& word, u32 expected, std::chrono::nanoseconds timeout);

/// Wakes one or all of the threads that sleep on `word` now. The word may be gone by then: the
/// address is only compared, never read.
void wakeOneByAddress(std::atomic<u32>& word);
void wakeAllByAddress(std::atomic<u32>& word);

} // namespace zu
