/// Small questions about files, asked of the installed file system, and about their names.
///
/// Threads: any.
#pragma once

#include <zul/export.h>

namespace zu {

class ZUL_API FileUtils
{
public:
    FileUtils() = delete;

    /// Whether there is such a file (a folder is none).
    static bool fileExists(const char* path);

    /// Whether a name matches a pattern in which '*' stands for any characters, also none, and '?'
    /// for any one. ASCII letter case is ignored, as for names everywhere here. "*.*" matches every
    /// name, with or without a dot, as people who type it expect.
    static bool matchesWildcard(const char* pattern, const char* name);
};

} // namespace zu
