#include "zul/common/SendQueue.h"

#include <algorithm>
#include <cassert>
#include <cstring>

namespace net {

static constexpr u32 kFirstBlockBytes = 4 * 1024;

// What a corked socket fills all the time is kept; what a stalled peer made it grow to is not.
static constexpr u32 kKeptBlockBytes = 128 * 1024;

void SendQueue::append(const u8* bytes, u32 count)
{
    if (count > roomBytes - last) {
        u32 queued = size();
        // Moving is paid for by the bytes sent before, as long as they are no fewer.
        if (count <= roomBytes - queued && first >= queued)
            std::memmove(block.get(), block.get() + first, queued);
        else {
            u32 capacity = std::max({queued + count, roomBytes * 2, kFirstBlockBytes});
            auto larger = std::make_unique_for_overwrite<u8[]>(capacity);
            if (queued > 0)
                std::memcpy(larger.get(), this->bytes(), queued);
            block = std::move(larger);
            roomBytes = capacity;
        }
        first = 0;
        last = queued;
    }
    std::memcpy(block.get() + last, bytes, count);
    last += count;
}

void SendQueue::consume(u32 count)
{
    assert(count <= size());
    first += count;
    if (first < last)
        return;
    first = last = 0;
    if (roomBytes > kKeptBlockBytes)
        clear();
}

void SendQueue::clear()
{
    block.reset();
    roomBytes = first = last = 0;
}

} // namespace net
