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
    if (count > m_capacity - m_end) {
        u32 queued = size();
        // Moving is paid for by the bytes sent before, as long as they are no fewer.
        if (count <= m_capacity - queued && m_begin >= queued)
            std::memmove(m_block.get(), m_block.get() + m_begin, queued);
        else {
            u32 capacity = std::max({queued + count, m_capacity * 2, kFirstBlockBytes});
            auto block = std::make_unique_for_overwrite<u8[]>(capacity);
            if (queued > 0)
                std::memcpy(block.get(), this->bytes(), queued);
            m_block = std::move(block);
            m_capacity = capacity;
        }
        m_begin = 0;
        m_end = queued;
    }
    std::memcpy(m_block.get() + m_end, bytes, count);
    m_end += count;
}

void SendQueue::consume(u32 count)
{
    assert(count <= size());
    m_begin += count;
    if (m_begin < m_end)
        return;
    m_begin = m_end = 0;
    if (m_capacity > kKeptBlockBytes)
        clear();
}

void SendQueue::clear()
{
    m_block.reset();
    m_capacity = m_begin = m_end = 0;
}

} // namespace net
