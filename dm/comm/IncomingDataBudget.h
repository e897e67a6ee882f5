/// How much request data one connection may have us keep at a time.
#pragma once

#include "dm/comm/PipeLimits.h"

#include <atomic>
#include <memory>

namespace dm {

/// Shared by the connection and every request that came over it, which may outlive it.
class IncomingDataBudget
{
public:
    bool tryReserve(zu::u64 bytes)
    {
        zu::u64 before = reservedBytes.load(std::memory_order_relaxed);
        do {
            if (bytes > kIncomingDataLimit || before > kIncomingDataLimit - bytes)
                return false;
        } while (!reservedBytes.compare_exchange_weak(before, before + bytes,
                                                      std::memory_order_relaxed));
        return true;
    }

    void release(zu::u64 bytes) { reservedBytes.fetch_sub(bytes, std::memory_order_relaxed); }

private:
    std::atomic<zu::u64> reservedBytes{0};
};

/// A part of the budget, given back on destruction.
class BudgetReservation
{
public:
    BudgetReservation() = default;
    BudgetReservation(BudgetReservation&& other) noexcept
        : budget(std::move(other.budget))
        , bytes(other.bytes)
    {
    }
    BudgetReservation& operator=(BudgetReservation&& other) noexcept
    {
        std::swap(budget, other.budget);
        std::swap(bytes, other.bytes);
        return *this;
    }
    ~BudgetReservation()
    {
        if (budget)
            budget->release(bytes);
    }

    /// False when the connection has used up its budget.
    bool tryTake(const std::shared_ptr<IncomingDataBudget>& from, zu::u64 size)
    {
        if (!from || !from->tryReserve(size))
            return false;
        budget = from;
        bytes = size;
        return true;
    }

private:
    std::shared_ptr<IncomingDataBudget> budget; // null: nothing reserved
    zu::u64 bytes = 0;
};

} // namespace dm
