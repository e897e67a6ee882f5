#include "dm/monitor/InPlaceValues.h"

namespace dm {

// The group and the name, encoded.
static constexpr size_t kMaxPlaceBytes = 4 + net::kTextFrameBytes + kMaxKeptInPlaceNameLength;

// All at once, because growing would hold up the thread that prints.
InPlaceValues::InPlaceValues()
{
    values.reserve(kMaxKeptInPlaceValues);
    order.reserve(kMaxKeptInPlaceValues);
}

void InPlaceValues::keep(std::string_view place, std::string_view text, u64 entry)
{
    auto found = values.find(place);
    if (found == values.end()) {
        if (values.size() == kMaxKeptInPlaceValues || place.size() > kMaxPlaceBytes)
            return;
        found = values.emplace(place, Value()).first;
        order.push_back(&*found);
    }
    found->second.text = text;
    found->second.entry = entry;
}

void InPlaceValues::clear()
{
    order.clear();
    values.clear();
}

} // namespace dm
