/// The newest in-place value of each group and name. Without I/O.
#pragma once

#include <chrono>
#include <cstddef>
#include <map>
#include <string>
#include <utility>

namespace monitor {

class ValueTable
{
public:
    /// What goes beyond is refused: a game that makes up names must not fill the tool's memory.
    static constexpr std::size_t kMaxValues = 16 * 1024;
    static constexpr std::size_t kMaxBytes = 16 * 1024 * 1024; ///< of all names and texts

    struct Place
    {
        int group = 0;
        std::string name;

        auto operator<=>(const Place&) const = default;
    };

    /// Returns whether that changed anything.
    bool set(int group, const std::string& name, const std::string& text);

    /// Whether anything was refused so far.
    bool hasRefused() const { return refused; }

    /// Another game: its values begin anew.
    void clear();

    /// By group, then by name.
    const std::map<Place, std::string>& all() const { return values; }

private:
    std::map<Place, std::string> values;
    std::size_t bytes = 0; // of names and texts
    bool refused = false;
};

} // namespace monitor
