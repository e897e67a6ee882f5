#include <zul/ThreadProfiler.h>

namespace d::Profile {

ThreadProfiler& ThreadProfiler::current()
{
    thread_local ThreadProfiler profiler;
    return profiler;
}

} // namespace d::Profile
