#include "zul/common/LetterCase.h"

#include <zul/FileSystem.h>
#include <zul/FileUtils.h>

#include <cstring>

namespace zu {

namespace {

// Whether a character of the name, which is not the end, fits one of the pattern.
bool fits(char pattern, char name) { return pattern == '?' || foldCase(pattern) == foldCase(name); }

} // namespace

bool FileUtils::fileExists(const char* path) { return FileSystem::get().fileExists(path); }

bool FileUtils::matchesWildcard(const char* pattern, const char* name)
{
    pattern = pattern ? pattern : "";
    name = name ? name : "";
    if (std::strcmp(pattern, "*.*") == 0)
        return true;
    // When something does not fit, only the last star needs to take one character more: what an
    // earlier one could gain, the last one can as well. So the time is at most the product of the
    // lengths, whatever the pattern.
    const char* afterStar = nullptr;
    const char* starEnd = nullptr;
    while (*name != '\0') {
        if (*pattern == '*') {
            afterStar = ++pattern;
            starEnd = name;
        } else if (*pattern != '\0' && fits(*pattern, *name)) {
            ++pattern;
            ++name;
        } else if (afterStar != nullptr) {
            pattern = afterStar;
            name = ++starEnd;
        } else
            return false;
    }
    while (*pattern == '*')
        ++pattern;
    return *pattern == '\0';
}

} // namespace zu
