#include "tools/sandbox/Output.h"

#include "tools/sandbox/Latin1.h"

#include <dm/monitor.h>

#include <algorithm>

namespace sandbox {

void Output::print(std::string_view text)
{
    while (!text.empty() && text.back() == '\n')
        text.remove_suffix(1);
    std::string all = std::string(text) + '\n';
    std::replace(all.begin(), all.end(), '\0', '?'); // the console's own texts end there
    for (size_t at = 0; at < all.size();) {
        const size_t end = all.find('\n', at) + 1;
        const std::string line = all.substr(at, end - at);
        at = end;
        {
            const std::lock_guard lock(mutex);
            keep(line);
            if (capturing == std::this_thread::get_id())
                captured += line;
        }
        console.getScrollingTextWindow()->printString(line.c_str());
        dm::print("%s", toUtf8({line.data(), line.size() - 1}).c_str());
    }
}

void Output::note(std::string_view line)
{
    const std::lock_guard lock(mutex);
    keep(std::string(line) + '\n');
}

std::string Output::transcript() const
{
    const std::lock_guard lock(mutex);
    std::string text;
    for (const std::string& line : lines)
        text += line;
    return text;
}

void Output::beginCapture()
{
    const std::lock_guard lock(mutex);
    captured.clear();
    capturing = std::this_thread::get_id();
}

std::string Output::endCapture()
{
    const std::lock_guard lock(mutex);
    capturing = {};
    return std::move(captured);
}

void Output::keep(std::string_view line)
{
    if (lines.size() == kMaxLines)
        lines.pop_front();
    lines.emplace_back(line);
}

} // namespace sandbox
