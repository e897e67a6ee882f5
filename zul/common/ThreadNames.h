/// How the runtime relies on names of threads (zu::setThreadName).
#pragma once

namespace zu {

/// Forgets the calling thread's name when the thread ends, because its number will be another
/// thread's. Objects of thread_local that are made afterwards still find the name when they are
/// destroyed.
void forgetNameAtThreadEnd();

} // namespace zu
