#include "tools/monitor/ValueTable.h"

namespace monitor {

bool ValueTable::set(int group, const std::string& name, const std::string& text)
{
    const auto found = values.find(Place{group, name});
    if (found != values.end()) {
        if (found->second == text)
            return false;
        found->second = text;
        return true;
    }
    return values.size() < kMaxValues && values.emplace(Place{group, name}, text).second;
}

} // namespace monitor
