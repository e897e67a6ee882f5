// Looks a host name up without keeping anybody waiting.
//
// The system's look-up may take seconds and cannot be called off, so it has a thread of its own,
// which nobody joins: it touches nothing but the result, shared with whoever asked. A socket that
// loses interest lets go of its half.
#pragma once

#include "zul/common/Tcp.h"

#include <atomic>
#include <memory>
#include <string>
#include <vector>

namespace net {

class NameLookup
{
public:
    // Null when the system has no thread left.
    static std::shared_ptr<const NameLookup> start(const char* host, u32 port);

    bool isDone() const { return done.load(std::memory_order_acquire); }

    // Once done: the addresses, or why there are none.
    const std::vector<tcp::Address>& addresses() const { return foundAddresses; }
    const std::string& error() const { return failure; }

private:
    std::vector<tcp::Address> foundAddresses; // the thread's own until done
    std::string failure;
    std::atomic<bool> done{false};
};

} // namespace net
