#include "tools/monitor/LineFilter.h"

#include <algorithm>
#include <stdexcept>

namespace monitor {

namespace {

// The library's usual way of matching goes back and tries again, which takes "(a+)+$" years for
// forty letters that the game chooses, and stack by the length of the line. This way does not.
#ifdef __GLIBCXX__
constexpr auto kSteadyMatching = std::regex_constants::__polynomial;
#else
constexpr auto kSteadyMatching = std::regex_constants::optimize;
#endif

std::regex compile(const std::string& pattern)
{
    try {
        return std::regex(pattern, std::regex::ECMAScript | std::regex::optimize | kSteadyMatching);
    } catch (const std::regex_error& error) {
        throw std::invalid_argument("'" + pattern + "' is no regular expression: " + error.what());
    }
}

bool isFoundIn(std::string_view text, const std::vector<std::regex>& patterns)
{
    return std::any_of(patterns.begin(), patterns.end(), [text](const std::regex& pattern) {
        return std::regex_search(text.begin(), text.end(), pattern);
    });
}

} // namespace

void LineFilter::addPattern(const std::string& pattern) { patterns.push_back(compile(pattern)); }

void LineFilter::addExcluded(const std::string& pattern) { excluded.push_back(compile(pattern)); }

bool LineFilter::passes(int channel, std::string_view text) const
{
    const std::string_view looked = text.substr(0, kMaxMatchedBytes);
    return (channels.empty() || channels.contains(channel)) &&
           (patterns.empty() || isFoundIn(looked, patterns)) && !isFoundIn(looked, excluded);
}

} // namespace monitor
