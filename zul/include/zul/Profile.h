/// Named zones of time on any thread, for a flame chart of the running program.
///
///     void Renderer::drawWorld()
///     {
///         ZUL_PROFILE_ZONE("draw world"); // until the end of the block
///         ...
///     }
///
///     while (running)
///     {
///         ZUL_PROFILE_FRAME(); // a frame begins
///         ...
///     }
///
///     d::Profile::ThreadProfiler::setRecording(true);
///     ...
///     packet << d::Profile::ThreadProfiler::current(); // on any thread: the newest zones of all
///
/// Nothing is recorded until somebody asks: until then a zone is two predictable branches. Recorded
/// are zones that begin while recording is on, with their depth among the recorded zones of their
/// thread; they show in a snapshot once they have ended. docs/protocol/monitor.md has the bytes of
/// a snapshot, <zul/ProfileSnapshot.h> reads them.
///
/// With ZUL_PROFILE defined as 0 before this header the macros compile to nothing.
///
/// Threads: all of it from any thread. A zone ends on the thread that it began on; zones of one
/// thread end in the opposite order of their beginnings, as blocks do, so a coroutine must not hold
/// one while it is suspended. A thread with a name (zu::setThreadName) is shown under it.
/// Ownership: names are literals and are not copied, so a library with zones is not unloaded.
/// Limits: a thread's first recorded zone takes a ring for its newest kZonesPerThread zones, which
/// is mapped at once and becomes memory as it fills: 32 bytes a zone, 512 KiB in all. After that a
/// thread allocates nothing. The rings of the last kKeptEndedThreads threads that ended are kept,
/// so that snapshots still show them; older ones go to the next new threads. With kMaxRings rings
/// in use further threads are not recorded. Zones within kMaxZoneDepth others are not recorded.
#pragma once

#include <zul/Types.h>
#include <zul/export.h>

#include <atomic>

#ifndef ZUL_PROFILE
#define ZUL_PROFILE 1
#endif

namespace net {
class Packet;
}

namespace d::Profile {

using zu::u32;

inline constexpr u32 kZonesPerThread = 16 * 1024;
inline constexpr u32 kMaxZoneDepth = 256;
inline constexpr u32 kKeptEndedThreads = 16;
inline constexpr u32 kMaxRings = 256;

/// A snapshot's whole size, in bytes. What is too much is cut off at whole zones: the newest of all
/// threads stay, those that ended before a certain moment go.
inline constexpr u32 kMaxSnapshotBytes = 1024 * 1024;

/// Names of zones and threads are cut to so many bytes when a snapshot is written.
inline constexpr u32 kMaxNameBytes = 255;

class ZoneRing;

/// What the zones do when somebody has asked. Called by the macros only.
struct ZUL_API Recorder
{
    static std::atomic<bool> recording;

    /// Null when the zone is not to be recorded.
    static ZoneRing* beginZone(const char* name) noexcept;
    static void endZone(ZoneRing* ring) noexcept;
    static void markFrame() noexcept;
};

/// The profiler of the process, which knows the zones of all its threads.
class ZUL_API ThreadProfiler
{
public:
    ThreadProfiler(const ThreadProfiler&) = delete;
    ThreadProfiler& operator=(const ThreadProfiler&) = delete;

    /// The one there is.
    static const ThreadProfiler& current();

    /// Switching on begins a new recording: zones of an earlier one are no longer shown. The first
    /// time takes about a millisecond, to measure the clock. Switching off keeps what was recorded.
    /// Does nothing when it is so already.
    static void setRecording(bool on);
    static bool isRecording() { return Recorder::recording.load(std::memory_order_relaxed); }

private:
    constexpr ThreadProfiler() = default;
};

/// The block of code that it stands in. Use the macros, which can be compiled to nothing.
class Zone
{
public:
    explicit Zone(const char* name) noexcept
        : ring(ThreadProfiler::isRecording() ? Recorder::beginZone(name) : nullptr)
    {
    }
    ~Zone()
    {
        if (ring)
            Recorder::endZone(ring);
    }
    Zone(const Zone&) = delete;
    Zone& operator=(const Zone&) = delete;

private:
    ZoneRing* const ring;
};

inline void markFrame() noexcept
{
    if (ThreadProfiler::isRecording())
        Recorder::markFrame();
}

} // namespace d::Profile

namespace net {

/// Writes a snapshot of the newest zones of all threads, one field of the packet, at most
/// kMaxSnapshotBytes. Without a recording it is one without threads.
///
/// Takes the calling thread about 50 ns a zone; the threads that record go on meanwhile.
/// Errors: std::bad_alloc.
ZUL_API Packet& operator<<(Packet& packet, const d::Profile::ThreadProfiler& profiler);

} // namespace net

#if ZUL_PROFILE

#define ZUL_PROFILE_JOIN_AGAIN(left, right) left##right
#define ZUL_PROFILE_JOIN(left, right) ZUL_PROFILE_JOIN_AGAIN(left, right)

/// From here to the end of the block. The name is a literal.
#define ZUL_PROFILE_ZONE(name)                                                                     \
    const ::d::Profile::Zone ZUL_PROFILE_JOIN(zulProfileZone, __LINE__)("" name)

/// A frame begins, as far as the calling thread is concerned.
#define ZUL_PROFILE_FRAME() ::d::Profile::markFrame()

#else

#define ZUL_PROFILE_ZONE(name) static_cast<void>(0)
#define ZUL_PROFILE_FRAME() static_cast<void>(0)

#endif
