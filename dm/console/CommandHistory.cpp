#include "dm/console/CommandHistory.h"

namespace dm {

void CommandHistory::add(const zu::String& command)
{
    store.add(command);
    index = -1;
}

const zu::String* CommandHistory::browse(int delta)
{
    const auto count = static_cast<zu::s64>(store.size());
    if (count == 0)
        return nullptr;
    zu::s64 moved = static_cast<zu::s64>(index) + delta;
    if (moved >= count)
        moved = 0;
    else if (moved < 0)
        moved = count - 1;
    index = static_cast<int>(moved);
    return store.newest(static_cast<zu::u64>(moved));
}

} // namespace dm
