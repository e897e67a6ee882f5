/// A file of a program that is built without the profiler.
#define ZUL_PROFILE 0
#include <zul/Profile.h>

namespace {

// With a zone or a mark in it, no compiler could run this.
constexpr int runWithoutProfiler()
{
    ZUL_PROFILE_FRAME();
    ZUL_PROFILE_ZONE("zone");
    return 3;
}

static_assert(runWithoutProfiler() == 3);

} // namespace
