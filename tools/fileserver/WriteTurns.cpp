#include "tools/fileserver/WriteTurns.h"

#include "tools/fileserver/GamePaths.h"

#include <algorithm>

namespace fileserver {

namespace {

/// The next name that means something, "" at the end.
std::string_view takeName(std::string_view& path)
{
    for (;;) {
        path.remove_prefix(std::min(path.find_first_not_of(kSeparators), path.size()));
        const std::string_view name = path.substr(0, path.find_first_of(kSeparators));
        path.remove_prefix(name.size());
        if (name != ".")
            return name;
    }
}

bool isSameName(std::string_view left, std::string_view right)
{
    return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                      [](char one, char other) { return toLower(one) == toLower(other); });
}

/// Whether one is the other, or above it.
bool overlap(std::string_view left, std::string_view right)
{
    for (;;) {
        const std::string_view leftName = takeName(left);
        const std::string_view rightName = takeName(right);
        if (leftName.empty() || rightName.empty())
            return true;
        if (!isSameName(leftName, rightName))
            return false;
    }
}

} // namespace

WriteTurns::Turn::Turn(WriteTurns& turns, const Claims& claims, size_t count)
    : owner(turns)
    , claimed(claims)
    , claimCount(count)
{
    std::unique_lock guard(owner.lock);
    earlier = owner.last;
    if (earlier != nullptr)
        earlier->later = this;
    owner.last = this;
    owner.left.wait(guard, [this] { return owner.isNext(*this); });
}

WriteTurns::Turn::~Turn()
{
    {
        std::lock_guard guard(owner.lock);
        if (earlier != nullptr)
            earlier->later = later;
        if (later != nullptr)
            later->earlier = earlier;
        else
            owner.last = earlier;
    }
    owner.left.notify_all();
}

/// Whether the other one, which came later, must wait.
bool WriteTurns::Turn::precedes(const Turn& other) const
{
    for (size_t mine = 0; mine < claimCount; ++mine)
        for (size_t its = 0; its < other.claimCount; ++its)
            if (claimed[mine].access == Access::Write &&
                overlap(claimed[mine].path, other.claimed[its].path))
                return true;
    return false;
}

bool WriteTurns::isNext(const Turn& turn) const
{
    for (const Turn* before = turn.earlier; before != nullptr; before = before->earlier)
        if (before->precedes(turn))
            return false;
    return true;
}

} // namespace fileserver
