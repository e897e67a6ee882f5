/// What the managers of one hub may be made to keep, all together or each, by the other ends.
#pragma once

#include "dm/comm/NameOrder.h"
#include "dm/common/LockOrder.h"

#include <zul/Types.h>

#include <atomic>
#include <mutex>
#include <set>
#include <string>

namespace dm {

/// Bytes of notifications that the pipes of one manager have queued. Any thread.
class NotifyBudget
{
public:
    static constexpr zu::u64 kNoLimit = ~zu::u64{0};

    explicit NotifyBudget(zu::u64 mostBytes)
        : limit(mostBytes)
    {
    }

    bool take(zu::u64 bytes)
    {
        if (limit == kNoLimit)
            return true;
        if (used.fetch_add(bytes) + bytes <= limit)
            return true;
        used.fetch_sub(bytes);
        return false;
    }
    void giveBack(zu::u64 bytes)
    {
        if (limit != kNoLimit)
            used.fetch_sub(bytes);
    }

private:
    const zu::u64 limit;
    std::atomic<zu::u64> used{0};
};

/// The pipe names that other ends have made on any of several managers. Any thread.
class PipeNameQuota
{
public:
    explicit PipeNameQuota(size_t mostNames)
        : limit(mostNames)
    {
    }

    /// Whether another end may make a pipe of this name: it exists elsewhere, or there is room.
    bool admit(const char* name)
    {
        const std::lock_guard guard(lock);
        if (names.contains(name))
            return true;
        return names.size() < limit && names.insert(name).second;
    }

private:
    const size_t limit;

    LeafMutex lock;
    std::set<std::string, NameOrder> names; // under lock
};

} // namespace dm
