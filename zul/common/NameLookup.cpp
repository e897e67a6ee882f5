#include "zul/common/NameLookup.h"

#include <system_error>
#include <thread>

namespace net {

std::shared_ptr<const NameLookup> NameLookup::start(const char* host, u32 port)
{
    auto lookup = std::make_shared<NameLookup>();
    try {
        std::thread thread([lookup, name = std::string(host), port] {
            lookup->foundAddresses = tcp::resolve(name.c_str(), port, lookup->failure);
            lookup->done.store(true, std::memory_order_release);
        });
        thread.detach();
    } catch (const std::system_error&) {
        return nullptr;
    }
    return lookup;
}

} // namespace net
