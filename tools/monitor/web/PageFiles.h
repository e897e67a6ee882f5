/// The page's files, as they were when this was built; the source is made by EmbedPage.cmake.
#pragma once

#include <span>
#include <string_view>

namespace monitor {

struct PageFile
{
    std::string_view name; ///< "index.html"
    std::string_view type; ///< "text/html; charset=utf-8"
    std::string_view text;
};

std::span<const PageFile> pageFiles();

} // namespace monitor
