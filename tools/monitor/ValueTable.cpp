#include "tools/monitor/ValueTable.h"

namespace monitor {

bool ValueTable::set(int group, const std::string& name, const std::string& text)
{
    const auto found = values.find(Place{group, name});
    const bool isNew = found == values.end();
    if (!isNew && found->second == text)
        return false;
    const std::size_t others = isNew ? bytes + name.size() : bytes - found->second.size();
    if (others + text.size() > kMaxBytes || (isNew && values.size() == kMaxValues)) {
        refused = true;
        return false;
    }
    bytes = others + text.size();
    if (isNew)
        values.emplace(Place{group, name}, text);
    else
        found->second = text;
    return true;
}

void ValueTable::clear()
{
    values.clear();
    bytes = 0;
}

} // namespace monitor
