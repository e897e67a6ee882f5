/// Seam: what the standard library does not say about threads.
#pragma once

#include <zul/Types.h>

namespace zu {

/// The system's number of the calling thread: never 0, unique among living threads of the system,
/// right in a forked child too. Called often: must be cheap.
u32 nativeThreadId();

/// Shows the name in debuggers, cut as the system demands. Best effort: a thread that is gone is
/// no error.
void setNativeThreadName(u32 threadId, const char* name);

} // namespace zu
