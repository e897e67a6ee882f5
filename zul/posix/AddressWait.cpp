#include "zul/common/AddressWait.h"

#include <climits>
#include <ctime>
#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace zu {

namespace {

static_assert(sizeof(std::atomic<u32>) == sizeof(u32) && std::atomic<u32>::is_always_lock_free);

void futex(std::atomic<u32>& word, int operation, u32 value, const timespec* timeout)
{
    syscall(SYS_futex, &word, operation | FUTEX_PRIVATE_FLAG, value, timeout, nullptr, 0);
}

} // namespace

void waitOnAddress(std::atomic<u32>& word, u32 expected, std::chrono::nanoseconds timeout)
{
    if (timeout == kWaitForever)
        return futex(word, FUTEX_WAIT, expected, nullptr);
    if (timeout <= std::chrono::nanoseconds::zero())
        return;
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(timeout);
    timespec relative{};
    relative.tv_sec = static_cast<time_t>(seconds.count());
    relative.tv_nsec = static_cast<long>((timeout - seconds).count());
    futex(word, FUTEX_WAIT, expected, &relative);
}

void wakeOneByAddress(std::atomic<u32>& word) { futex(word, FUTEX_WAKE, 1, nullptr); }

void wakeAllByAddress(std::atomic<u32>& word) { futex(word, FUTEX_WAKE, INT_MAX, nullptr); }

} // namespace zu
