/// What a file server has done, for one game or for all together.
#pragma once

#include <zul/Types.h>

#include <atomic>

namespace fileserver {

struct ServeTotals
{
    zu::u64 games = 0; ///< that have come
    zu::u64 commands = 0;
    zu::u64 filesRead = 0; ///< a file counts when its first byte is asked for
    zu::u64 filesWritten = 0;
    zu::u64 bytesRead = 0; ///< of file content
    zu::u64 bytesWritten = 0;
    zu::u64 warnings = 0;
};

/// Counts, in itself and in the one it is part of.
///
/// Threads: any.
class ServeStatistics
{
public:
    /// Null: of all together.
    explicit ServeStatistics(ServeStatistics* whole = nullptr)
        : total(whole)
    {
    }

    void countGame() { add(&ServeStatistics::games, 1); }
    void countCommand() { add(&ServeStatistics::commands, 1); }
    void countFileRead() { add(&ServeStatistics::filesRead, 1); }
    void countFileWritten() { add(&ServeStatistics::filesWritten, 1); }
    void countRead(zu::u64 bytes) { add(&ServeStatistics::bytesRead, bytes); }
    void countWritten(zu::u64 bytes) { add(&ServeStatistics::bytesWritten, bytes); }
    void countWarning() { add(&ServeStatistics::warnings, 1); }

    ServeTotals getTotals() const
    {
        return {games, commands, filesRead, filesWritten, bytesRead, bytesWritten, warnings};
    }

private:
    using Counter = std::atomic<zu::u64>;

    void add(Counter ServeStatistics::*counter, zu::u64 amount)
    {
        (this->*counter).fetch_add(amount, std::memory_order_relaxed);
        if (total != nullptr)
            total->add(counter, amount);
    }

    ServeStatistics* const total;
    Counter games{0};
    Counter commands{0};
    Counter filesRead{0};
    Counter filesWritten{0};
    Counter bytesRead{0};
    Counter bytesWritten{0};
    Counter warnings{0};
};

} // namespace fileserver
