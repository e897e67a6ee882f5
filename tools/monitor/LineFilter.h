/// Which lines of text are shown. Without I/O.
///
/// A line passes when its channel is wanted, one of the patterns is found in it, and none of the
/// excluded ones is. No channels or no patterns means any.
#pragma once

#include <dm/monitor.h>

#include <regex>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace monitor {

class LineFilter
{
public:
    /// Patterns look at no more of a line than this, which is as much as the game's print sends:
    /// a bad pattern takes time by the square of it.
    static constexpr std::size_t kMaxMatchedBytes = dm::kMaxMonitorTextLength;

    void addChannel(int channel) { channels.insert(channel); }

    /// ECMAScript regular expressions; references back to a group may be refused. Throws
    /// std::invalid_argument that says what is wrong.
    void addPattern(const std::string& pattern);
    void addExcluded(const std::string& pattern);

    bool passes(int channel, std::string_view text) const;

private:
    std::set<int> channels;
    std::vector<std::regex> patterns;
    std::vector<std::regex> excluded;
};

} // namespace monitor
