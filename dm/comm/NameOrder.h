/// The order of pipe and manager names: letter case does not distinguish them.
#pragma once

#include <zul/String.h>

#include <string>

namespace dm {

/// For ordered maps; looks up without making a string.
struct NameOrder
{
    using is_transparent = void;

    template <typename One, typename Other>
    bool operator()(const One& one, const Other& other) const
    {
        return zu::stricmp(text(one), text(other)) < 0;
    }

private:
    static const char* text(const char* name) { return name; }
    static const char* text(const std::string& name) { return name.c_str(); }
    static const char* text(const zu::String& name) { return name.c_str(); }
};

} // namespace dm
