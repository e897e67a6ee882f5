#include "zul/common/PortablePath.h"

#include "fuzz/Checks.h"

#include <string>

namespace fuzz {

namespace {

void checkNames(std::string_view path, zu::NameRule rule)
{
    size_t names = 0;
    for (std::string_view rest = path; !rest.empty(); ++names) {
        const size_t end = rest.find('/');
        const std::string_view name = rest.substr(0, end);
        require(name != ".." && name.find('\0') == name.npos, "a dangerous name", path);
        require(zu::isAcceptedName(name, rule), "a name that is not accepted alone", path);
        require(end == rest.npos || end + 1 < rest.size(), "a separator at the end", path);
        rest.remove_prefix(end == rest.npos ? rest.size() : end + 1);
    }
    require(names <= zu::kMaxPathNames && path.size() <= zu::kMaxPathBytes, "too large", path);
}

} // namespace

void checkPortablePath(const std::uint8_t* data, size_t size)
{
    const std::string_view path(reinterpret_cast<const char*>(data), size);
    std::string normal[2];
    for (const zu::NameRule rule : {zu::NameRule::Any, zu::NameRule::Portable}) {
        std::string& accepted = normal[rule == zu::NameRule::Portable];
        accepted = "untouched/";
        if (zu::normalisePath(path, rule, accepted) != zu::PathFault::None) {
            require(accepted == "untouched/", "touched although refused", path);
            continue;
        }
        checkNames(accepted, rule);
        std::string again;
        require(zu::normalisePath(accepted, rule, again) == zu::PathFault::None, "refused", path);
        require(again == accepted, "not stable", path);
    }
    require(normal[1] == "untouched/" || normal[1] == normal[0], "rules differ", path);
}

} // namespace fuzz
