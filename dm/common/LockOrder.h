/// The one lock order of the library, and mutexes that assert it in debug builds.
///
/// A thread takes locks in ascending rank only; a recursive lock it already holds it may take
/// again at any time. Leaves call nothing and are never held two at once. ARCHITECTURE.md says what
/// each guards and what it may be held across.
#pragma once

#include <cassert>
#include <mutex>
#include <type_traits>
#include <utility>

namespace dm {

enum class LockRank : int
{
    JobRun = 1,    ///< JobManager: serialises batches, and the batch itself
    ListBuffer,    ///< remote files: the shared directory-list buffer
    Monitor,       ///< debug monitor: its connections
    PipeCreation,  ///< process-wide: held while a pipe-create callback runs on a caller's thread
    HubMembership, ///< a hub's next member, from its number to its place in the list
    Registry,      ///< the map of pipe managers
    PipeTable,     ///< one manager's map of pipes
    Leaf,          ///< a pipe's queues, a manager's address, a callback slot, a hub's member list
};

namespace detail {

/// Which ranks this thread holds, as a count each.
inline thread_local int t_heldRanks[static_cast<int>(LockRank::Leaf) + 1] = {};

inline bool holdsAbove(int rank)
{
    for (int above = rank + 1; above <= static_cast<int>(LockRank::Leaf); ++above) {
        if (t_heldRanks[above] > 0)
            return true;
    }
    return false;
}

} // namespace detail

/// A mutex with its place in the order. Constant-initialised when its base is.
template <LockRank Rank, typename Base = std::mutex>
class OrderedMutex
{
public:
    void lock()
    {
        check();
        mutex.lock();
        enter();
    }

    bool try_lock()
    {
        if (!mutex.try_lock())
            return false;
        enter();
        return true;
    }

    void unlock()
    {
        leave();
        mutex.unlock();
    }

private:
#ifndef NDEBUG
    static constexpr int kRank = static_cast<int>(Rank);
    static constexpr bool kIsRecursive = !std::is_same_v<Base, std::mutex>;

    void check()
    {
        assert(!detail::holdsAbove(kRank) && "a lock was taken against the lock order");
        assert((kIsRecursive || detail::t_heldRanks[kRank] == 0) &&
               "two locks of one rank were taken at once");
    }
    void enter() { ++detail::t_heldRanks[kRank]; }
    void leave() { --detail::t_heldRanks[kRank]; }
#else
    void check() {}
    void enter() {}
    void leave() {}
#endif

    Base mutex;
};

/// The same for a lock that is part of an exported class: holds it, and its place in the order,
/// which it may share with others held by the same thread.
template <LockRank Rank, typename Mutex>
class RankedGuard
{
public:
    explicit RankedGuard(Mutex& guarded)
        : mutex(guarded)
    {
#ifndef NDEBUG
        assert(!detail::holdsAbove(static_cast<int>(Rank)) &&
               "a lock was taken against the lock order");
        ++detail::t_heldRanks[static_cast<int>(Rank)];
#endif
        mutex.lock();
    }
    ~RankedGuard()
    {
        mutex.unlock();
#ifndef NDEBUG
        --detail::t_heldRanks[static_cast<int>(Rank)];
#endif
    }
    RankedGuard(const RankedGuard&) = delete;
    RankedGuard& operator=(const RankedGuard&) = delete;

private:
    Mutex& mutex;
};

/// Leaves a lock that this thread holds out of its account, while a callback runs under it that may
/// take any lock. What cannot be asserted then must be said to whoever writes the callback.
template <LockRank Rank>
class RankPause
{
public:
#ifndef NDEBUG
    RankPause()
        : held(std::exchange(detail::t_heldRanks[static_cast<int>(Rank)], 0))
    {
    }
    ~RankPause() { detail::t_heldRanks[static_cast<int>(Rank)] = held; }
#else
    RankPause() {}
#endif
    RankPause(const RankPause&) = delete;
    RankPause& operator=(const RankPause&) = delete;

private:
#ifndef NDEBUG
    const int held;
#endif
};

template <LockRank Rank>
using RecursiveOrderedMutex = OrderedMutex<Rank, std::recursive_mutex>;

using LeafMutex = OrderedMutex<LockRank::Leaf>;

} // namespace dm
