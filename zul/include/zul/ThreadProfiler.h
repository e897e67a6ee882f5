/// The profiling data of one thread, as far as packets need to know it.
///
/// A placeholder: nothing is measured yet. It gives code that sends profiles an object to refer to
/// until there is a profiler, and will then gain its measurements.
#pragma once

#include <zul/export.h>

namespace d::Profile {

class ZUL_API ThreadProfiler
{
public:
    /// The calling thread's own.
    static ThreadProfiler& current();
};

} // namespace d::Profile
