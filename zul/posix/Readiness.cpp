#include "zul/common/Readiness.h"

#include <algorithm>
#include <cassert>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <poll.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <unistd.h>

namespace net {

using zu::Interest;
using zu::WaitHandle;
using Clock = std::chrono::steady_clock;

static bool includes(Interest interest, Interest part)
{
    return (static_cast<u32>(interest) & static_cast<u32>(part)) != 0;
}

// The system's time-outs are signed.
static int toTimeout(u64 timeoutMs)
{
    return static_cast<int>(std::min<u64>(timeoutMs, INT32_MAX));
}

Signal::Signal()
    : descriptor(eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC))
{
}

Signal::~Signal()
{
    if (isValid())
        close(static_cast<int>(descriptor));
}

void Signal::raise()
{
    // The only failure, a full counter, leaves the signal up all the same.
    [[maybe_unused]] int failed = eventfd_write(static_cast<int>(descriptor), 1);
}

bool Signal::lower()
{
    eventfd_t count = 0;
    return eventfd_read(static_cast<int>(descriptor), &count) == 0;
}

int pollHandles(const WaitHandle* handles, u32 count, u32 timeoutMs)
{
    assert(count <= zu::MAXIMUM_WAIT);
    count = std::min(count, zu::MAXIMUM_WAIT);
    pollfd entries[zu::MAXIMUM_WAIT];
    for (u32 index = 0; index < count; index++) {
        short events = 0;
        if (includes(handles[index].interest, Interest::Read))
            events |= POLLIN | POLLRDHUP;
        if (includes(handles[index].interest, Interest::Write))
            events |= POLLOUT;
        entries[index] = {static_cast<int>(handles[index].native), events, 0};
    }
    auto deadline = Clock::now() + std::chrono::milliseconds(timeoutMs);
    int found = poll(entries, count, toTimeout(timeoutMs));
    while (found == -1 && errno == EINTR) {
        auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
        found = poll(entries, count, toTimeout(static_cast<u64>(std::max(left.count(), 0L))));
    }
    for (u32 index = 0; found > 0 && index < count; index++) {
        if (entries[index].revents != 0)
            return static_cast<int>(index);
    }
    return -1;
}

Poller::Poller()
    : descriptor(epoll_create1(EPOLL_CLOEXEC))
{
}

Poller::~Poller()
{
    if (isValid())
        close(static_cast<int>(descriptor));
}

static bool control(std::intptr_t set, int operation, std::intptr_t handle, Interest interest,
                    u64 key)
{
    epoll_event event{};
    if (includes(interest, Interest::Read))
        event.events |= EPOLLIN | EPOLLRDHUP;
    if (includes(interest, Interest::Write))
        event.events |= EPOLLOUT;
    event.data.u64 = key;
    return epoll_ctl(static_cast<int>(set), operation, static_cast<int>(handle), &event) == 0;
}

bool Poller::add(std::intptr_t handle, Interest interest, u64 key)
{
    return control(descriptor, EPOLL_CTL_ADD, handle, interest, key) ||
           (errno == EEXIST && control(descriptor, EPOLL_CTL_MOD, handle, interest, key));
}

bool Poller::change(std::intptr_t handle, Interest interest, u64 key)
{
    return control(descriptor, EPOLL_CTL_MOD, handle, interest, key) ||
           (errno == ENOENT && control(descriptor, EPOLL_CTL_ADD, handle, interest, key));
}

bool Poller::addWakeUp(const Signal& signal, u64 key)
{
    epoll_event event{};
    event.events = EPOLLIN | EPOLLET;
    event.data.u64 = key;
    return epoll_ctl(static_cast<int>(descriptor), EPOLL_CTL_ADD, static_cast<int>(signal.native()),
                     &event) == 0;
}

void Poller::remove(std::intptr_t handle)
{
    epoll_ctl(static_cast<int>(descriptor), EPOLL_CTL_DEL, static_cast<int>(handle), nullptr);
}

u32 Poller::wait(WaitSet::Ready* out, u32 capacity, u32 timeoutMs)
{
    epoll_event events[kMaxReady];
    int room = static_cast<int>(std::min(capacity, kMaxReady));
    int found = epoll_wait(static_cast<int>(descriptor), events, room, toTimeout(timeoutMs));
    if (found <= 0)
        return 0;
    for (int index = 0; index < found; index++) {
        u32 bits = events[index].events;
        out[index].key = events[index].data.u64;
        // Broken and closed connections are readable, whatever was asked for: a receive tells.
        out[index].readable = (bits & (EPOLLIN | EPOLLRDHUP | EPOLLHUP | EPOLLERR)) != 0;
        out[index].writable = (bits & (EPOLLOUT | EPOLLERR)) != 0;
    }
    return static_cast<u32>(found);
}

} // namespace net
