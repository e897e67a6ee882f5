/// The newest value of each in-place (group, name), for tools that have missed packets.
///
/// Fixed in the number of values and the size of their names: a game that makes up a new name each
/// frame fills it once, and what does not fit is not kept.
///
/// Threads: one at a time; MonitorLog calls it under its lock.
#pragma once

#include <dm/monitor.h>

#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace dm {

class InPlaceValues
{
public:
    struct Value
    {
        std::string text{}; ///< the encoded field
        u64 entry = 0;      ///< number of the log's entry that last set it
    };
    using Kept = std::pair<const std::string, Value>; ///< the encoded group and name, and the value

    InPlaceValues();

    /// Replaces the value of a place, both as encoded fields.
    void keep(std::string_view place, std::string_view text, u64 entry);

    void clear();

    /// Places keep their index until clear.
    u32 size() const { return static_cast<u32>(order.size()); }
    const Kept& operator[](u32 index) const { return *order[index]; }

private:
    struct Hash
    {
        using is_transparent = void;
        size_t operator()(std::string_view text) const
        {
            return std::hash<std::string_view>()(text);
        }
    };

    std::unordered_map<std::string, Value, Hash, std::equal_to<>> values;
    std::vector<const Kept*> order; // entries of a map stay where they are
};

} // namespace dm
