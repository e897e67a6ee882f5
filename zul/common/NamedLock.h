/// Seam: a name that the system keeps exactly as long as somebody holds it.
///
/// Any number of holders, in one process or several of the same user. The system itself must let
/// go for a process that dies: nothing that has to be cleaned up after a crash will do.
/// Threads: any.
#pragma once

#include <zul/Types.h>

namespace zu {

inline constexpr s64 kNoNamedLock = -1;

/// Holds the name; kNoNamedLock when the system refuses.
s64 acquireNamedLock(const char* name);
/// Lets go of what acquireNamedLock gave for the same name.
void releaseNamedLock(s64 holder, const char* name);
/// Whether anybody holds the name. Must not disturb holders, nor others who ask.
bool isNamedLockHeld(const char* name);

} // namespace zu
