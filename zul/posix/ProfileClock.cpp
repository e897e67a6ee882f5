#include "zul/common/ProfileClock.h"

#include <cstdio>
#include <cstring>
#include <ctime>

#if defined(__x86_64__) || defined(__i386__)
#define ZUL_HAS_CYCLE_COUNTER 1
#include <cpuid.h>
#include <x86intrin.h>
#endif

namespace d::Profile {

using zu::u64;

namespace {

constexpr u64 kNanosecondsPerSecond = 1'000'000'000;

u64 systemNanoseconds() noexcept
{
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<u64>(now.tv_sec) * kNanosecondsPerSecond + static_cast<u64>(now.tv_nsec);
}

#ifdef ZUL_HAS_CYCLE_COUNTER

constexpr u64 kMeasuringNanoseconds = 1'000'000;

bool runsAtOneRate()
{
    constexpr unsigned kPowerManagement = 0x80000007;
    constexpr unsigned kInvariantCounter = 1u << 8; // in edx
    unsigned eax = 0, ebx = 0, ecx = 0, edx = 0;
    return __get_cpuid(kPowerManagement, &eax, &ebx, &ecx, &edx) && (edx & kInvariantCounter);
}

// The kernel compares the cores' counters, at boot and ever after, and takes the counter from this
// list when they drift apart. The processor alone does not know: boards with several have failed.
bool isTrustedByKernel()
{
    std::FILE* file =
        std::fopen("/sys/devices/system/clocksource/clocksource0/available_clocksource", "re");
    if (!file)
        return false;
    char names[256] = {};
    [[maybe_unused]] const size_t size = std::fread(names, 1, sizeof names - 1, file);
    std::fclose(file);
    for (char* rest = names; char* name = strtok_r(rest, " \n", &rest);)
        if (std::strcmp(name, "tsc") == 0)
            return true;
    return false;
}

struct Reading
{
    u64 counter = 0;
    u64 nanoseconds = 0;
};

// Both clocks at one moment: of several tries the one that was interrupted least.
Reading readBothClocks()
{
    constexpr int kTries = 8;
    Reading best;
    u64 shortest = ~0ull;
    for (int i = 0; i < kTries; ++i) {
        const u64 before = __rdtsc();
        const u64 nanoseconds = systemNanoseconds();
        const u64 took = __rdtsc() - before;
        if (took < shortest) {
            shortest = took;
            best = {before + took / 2, nanoseconds};
        }
    }
    return best;
}

u64 measureCounter()
{
    const Reading first = readBothClocks();
    Reading last;
    do
        last = readBothClocks();
    while (last.nanoseconds - first.nanoseconds < kMeasuringNanoseconds);
    return static_cast<u64>(static_cast<double>(last.counter - first.counter) *
                            static_cast<double>(kNanosecondsPerSecond) /
                            static_cast<double>(last.nanoseconds - first.nanoseconds));
}

#endif

} // namespace

#ifdef ZUL_HAS_CYCLE_COUNTER

bool ProfileClock::isCounterRight() noexcept
{
    static const bool right = runsAtOneRate() && isTrustedByKernel();
    return right;
}

u64 ProfileClock::ticks() const noexcept { return readsCounter ? __rdtsc() : systemNanoseconds(); }

u64 ProfileClock::ticksPerSecond() const noexcept
{
    if (!readsCounter)
        return kNanosecondsPerSecond;
    static const u64 measured = measureCounter();
    return measured;
}

#else

bool ProfileClock::isCounterRight() noexcept { return false; }

u64 ProfileClock::ticks() const noexcept { return systemNanoseconds(); }

u64 ProfileClock::ticksPerSecond() const noexcept { return kNanosecondsPerSecond; }

#endif

} // namespace d::Profile
