#include "zul/common/NativeThread.h"

#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <pthread.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace zu {

namespace {

constexpr size_t kLongestName = 15;

thread_local u32 t_threadId = 0;

void forgetThreadId() { t_threadId = 0; }

// A forked child inherits the parent's thread-local copy of a number that is no longer its own.
[[maybe_unused]] const int s_forkHandler = pthread_atfork(nullptr, nullptr, forgetThreadId);

void writeName(u32 threadId, const char* name, size_t length)
{
    char path[64];
    std::snprintf(path, sizeof path, "/proc/self/task/%u/comm", threadId);
    const int file = open(path, O_WRONLY | O_CLOEXEC);
    if (file < 0)
        return;
    [[maybe_unused]] const ssize_t written = write(file, name, length);
    close(file);
}

} // namespace

u32 nativeThreadId()
{
    if (t_threadId == 0)
        t_threadId = static_cast<u32>(syscall(SYS_gettid));
    return t_threadId;
}

void setNativeThreadName(u32 threadId, const char* name)
{
    writeName(threadId, name, strnlen(name, kLongestName));
}

} // namespace zu
