#pragma once

#include "tools/dm/ClientSession.h"

#include <nlohmann/json_fwd.hpp>
#include <string>

namespace CLI {
class App;
}

namespace tool {

/// ADDRESS
void addAddress(CLI::App& command, SessionOptions& options);

/// --timeout
void addTimeoutOption(CLI::App& command, SessionOptions& options);

/// ADDRESS, PIPE and --timeout.
void addSessionOptions(CLI::App& command, SessionOptions& options);

/// --hub and --member, the latter for what `memberHelp` says.
void addHubOptions(CLI::App& command, SessionOptions& options, const char* memberHelp);

/// For options that name a manager: why this is no name; "" when it is.
std::string whyNoName(const std::string& name);

/// --format text|json
void addFormatOption(CLI::App& command, Format& format);

/// --progress auto|always|never
void addProgressOption(CLI::App& command, ProgressMeter::Mode& mode);

/// One line with its end; bytes that are no UTF-8 become replacement characters, and controls that
/// a terminal would obey are spelled out as \uNNNN.
std::string toJsonLine(const nlohmann::ordered_json& object);
/// The same on standard output.
void printJsonLine(const nlohmann::ordered_json& object);

} // namespace tool
