#pragma once

#include "tools/dm/Arguments.h"

#include <string>

namespace tool {

/// Throws ToolError when the server manager of that name could not listen on `port`.
void requireListening(const char* managerName, int port);

/// The line that tells where programs can connect: for people, or as a JSON event.
std::string describeListening(Format format, int port);

/// Prints it: for people on standard error, for programs on standard output.
void announceListening(Format format, int port);

} // namespace tool
