/// Which programs of this machine listen on a TCP port, as far as the system tells.
///
/// For tools that explain why a port cannot be had or who answers there. Nothing may depend on it:
/// a system need not tell at all, and tells of other users' programs only that they are there.
///
///     for (const net::PortListener& listener : net::findPortListeners(3510))
///         tell(listener.address, listener.processName, listener.processId);
///
/// Threads: any.
#pragma once

#include <zul/Types.h>
#include <zul/export.h>

#include <string>
#include <vector>

namespace net {

struct PortListener
{
    std::string address;       ///< in numbers; "0.0.0.0" or "::" for all networks
    zu::u32 processId = 0;     ///< 0 when the system does not tell whose it is
    std::string processName{}; ///< "" then; any bytes, whatever the program calls itself
    bool isHalted = false;     ///< stopped by a signal, or by a debugger
};

/// Those on the port, in the system's order; none when it does not tell. Looks through the open
/// files of all programs, which takes milliseconds. Of several processes that share a listener one
/// is named.
ZUL_API std::vector<PortListener> findPortListeners(zu::u32 port);

/// Whether programs that connect to this host reach this machine: a numeric address of it,
/// "localhost", or the machine's own name. Looks nothing up, so other names for it are not known.
ZUL_API bool isOwnHost(const char* host);

} // namespace net
