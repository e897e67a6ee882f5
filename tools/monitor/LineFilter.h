/// Which lines of text are shown. Without I/O.
///
/// A line passes when its channel is wanted, one of the patterns is found in it, and none of the
/// excluded ones is. No channels or no patterns means any.
#pragma once

#include <regex>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace monitor {

class LineFilter
{
public:
    /// Patterns look at no more of a line than this: matching takes stack by the length of the
    /// text. The game's print cuts lines long before.
    static constexpr std::size_t kMaxMatchedBytes = 1024;

    void addChannel(int channel) { channels.insert(channel); }

    /// ECMAScript regular expressions. Throws std::invalid_argument that says what is wrong.
    void addPattern(const std::string& pattern);
    void addExcluded(const std::string& pattern);

    bool passes(int channel, std::string_view text) const;

private:
    std::set<int> channels;
    std::vector<std::regex> patterns;
    std::vector<std::regex> excluded;
};

} // namespace monitor
