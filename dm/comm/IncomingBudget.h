/// How much one connection may have us keep at a time.
#pragma once

#include "dm/comm/PipeLimits.h"

#include <atomic>
#include <memory>
#include <utility>

namespace dm {

/// Shared by the connection and whatever came over it, which may outlive it.
class IncomingBudget
{
public:
    bool tryReserve(zu::u64 bytes)
    {
        zu::u64 before = reservedBytes.load(std::memory_order_relaxed);
        do {
            if (bytes > kIncomingBytesLimit || before > kIncomingBytesLimit - bytes)
                return false;
        } while (!reservedBytes.compare_exchange_weak(before, before + bytes,
                                                      std::memory_order_relaxed));
        return true;
    }

    /// True the first time something is refused: the developer is told once a connection.
    bool raiseNotice() { return !noticeGiven.exchange(true, std::memory_order_relaxed); }

    void release(zu::u64 bytes) { reservedBytes.fetch_sub(bytes, std::memory_order_relaxed); }

private:
    std::atomic<zu::u64> reservedBytes{0};
    std::atomic<bool> noticeGiven{false};
};

/// A part of the budget, given back on destruction.
class BudgetReservation
{
public:
    BudgetReservation() = default;
    BudgetReservation(BudgetReservation&& other) noexcept
        : budget(std::move(other.budget))
        , bytes(std::exchange(other.bytes, 0))
    {
    }
    BudgetReservation& operator=(BudgetReservation&& other) noexcept
    {
        std::swap(budget, other.budget);
        std::swap(bytes, other.bytes);
        return *this;
    }
    ~BudgetReservation() { release(); }

    zu::u64 size() const { return bytes; }

    /// Reserves more. False, and nothing changes, when the connection has used up its budget.
    bool tryAdd(const std::shared_ptr<IncomingBudget>& from, zu::u64 more)
    {
        if (!from || !from->tryReserve(more))
            return false;
        if (budget != from) {
            release();
            budget = from;
        }
        bytes += more;
        return true;
    }

    void release()
    {
        if (budget)
            budget->release(std::exchange(bytes, 0));
        budget.reset();
    }

private:
    std::shared_ptr<IncomingBudget> budget; // null: nothing reserved
    zu::u64 bytes = 0;
};

} // namespace dm
