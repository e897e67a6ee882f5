/// Messages to the developer, on standard error.
#pragma once

#include <zul/String.h>

namespace dm {

/// Prints one line "dm: ..." with a single write, so lines of several threads do not mix.
/// printf formatting; no newline needed.
void warn(const char* format, ...) ZUL_PRINTF_LIKE(1, 2);

/// For a warning that is worth saying once for each thing it concerns; a member of that thing.
class OnceFlag
{
public:
    /// True the first time.
    bool raise()
    {
        const bool first = !raised;
        raised = true;
        return first;
    }

private:
    bool raised = false;
};

} // namespace dm
