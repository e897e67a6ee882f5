#include "tools/dm/Listening.h"

#include "tools/dm/CommonOptions.h"
#include "tools/dm/ExitCode.h"
#include "tools/dm/Text.h"

#include <dm/comm.h>
#include <zul/Listener.h>

#include <cstdio>
#include <nlohmann/json.hpp>

namespace tool {

void requireListening(const char* managerName, int port)
{
    const dm::ConnectionStatus status = dm::getConnectionStatus(managerName);
    if (status.state != dm::ConnectionStatus::Connected)
        throw ToolError(ExitCode::CannotConnect,
                        "cannot listen on port " + std::to_string(port) + " (" +
                            toStdString(status.lastFailure) +
                            "): end what uses it, or choose another, or 0 for any free one");
}

void announceListening(Format format, int port)
{
    const std::string address = toStdString(net::getListenAddress());
    if (format == Format::Json)
        printJsonLine({{"event", "listening"}, {"address", address}, {"port", port}});
    else
        std::fprintf(stderr, "dm: listening on %s\n", Address{address, port}.toString().c_str());
}

} // namespace tool
