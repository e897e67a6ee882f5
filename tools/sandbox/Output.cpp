#include "tools/sandbox/Output.h"

#include "tools/dm/Text.h"
#include "tools/sandbox/Latin1.h"

#include <dm/monitor.h>

#include <algorithm>
#include <cstdio>
#include <utility>

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
            keep({line, true});
            ++printed;
            if (capturing == std::this_thread::get_id())
                captured += line;
        }
        console.getScrollingTextWindow()->printString(line.c_str());
        const std::string utf8 = toUtf8({line.data(), line.size() - 1});
        dm::print("%s", utf8.c_str());
        if (isCopied) {
            std::printf("%s\n", tool::escapeControls(utf8).c_str());
            std::fflush(stdout);
        }
    }
}

void Output::note(std::string_view line)
{
    const std::lock_guard lock(mutex);
    keep({std::string(line) + '\n', false});
}

std::string Output::transcript() const
{
    const std::lock_guard lock(mutex);
    std::string text;
    for (const Line& line : lines)
        text += line.text;
    return text;
}

size_t Output::printedCount() const
{
    const std::lock_guard lock(mutex);
    return printed;
}

bool Output::hasPrinted(std::string_view text, size_t after) const
{
    const std::lock_guard lock(mutex);
    size_t number = printed;
    for (auto line = lines.rbegin(); line != lines.rend() && number > after; ++line) {
        if (!line->isPrinted)
            continue;
        if (line->text.find(text) != std::string::npos)
            return true;
        --number;
    }
    return false;
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

void Output::keep(Line line)
{
    if (lines.size() == kMaxLines)
        lines.pop_front();
    lines.push_back(std::move(line));
}

} // namespace sandbox
