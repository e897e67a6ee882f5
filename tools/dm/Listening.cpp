#include "tools/dm/Listening.h"

#include "tools/dm/CommonOptions.h"
#include "tools/dm/ExitCode.h"
#include "tools/dm/Files.h"
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

std::string describeListening(Format format, int port)
{
    const std::string address = toStdString(net::getListenAddress());
    if (format == Format::Json)
        return toJsonLine({{"event", "listening"}, {"address", address}, {"port", port}});
    return "dm: listening on " + Address{address, port}.toString() + "\n";
}

void announceListening(Format format, int port)
{
    const std::string line = describeListening(format, port);
    if (format == Format::Json)
        writeOutput(line.data(), line.size());
    else
        std::fputs(line.c_str(), stderr);
}

} // namespace tool
