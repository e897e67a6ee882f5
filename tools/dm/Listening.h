#pragma once

#include "tools/dm/Arguments.h"

namespace tool {

/// Throws ToolError when the server manager of that name could not listen on `port`.
void requireListening(const char* managerName, int port);

/// Tells where programs can connect: people on standard error, programs as a JSON event.
void announceListening(Format format, int port);

} // namespace tool
