/// Messages to the developer, on standard error.
#pragma once

namespace dm {

/// Prints one line "dm: ..." with a single write, so lines of several threads do not mix.
/// printf formatting; no newline needed.
void warn(const char* format, ...)
#if defined(__GNUC__)
    __attribute__((format(printf, 1, 2)))
#endif
    ;

/// A warning that is worth saying once for each thing it concerns: `said` belongs to that thing.
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
