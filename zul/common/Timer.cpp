#include <zul/Timer.h>

#include <algorithm>
#include <limits>

namespace zu {

namespace {

const Timer& appTimer()
{
    static const Timer timer;
    return timer;
}

// Begins the application's age when the library is loaded, not when it is first asked for.
[[maybe_unused]] const Timer& s_loadTime = appTimer();

} // namespace

double Timer::getAppAge()
{
    // A clock that has not ticked yet must not look like the 0 that stands for "never".
    return std::max(appTimer().getElapsed(), std::numeric_limits<double>::min());
}

} // namespace zu
