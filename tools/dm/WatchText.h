#pragma once

#include "tools/monitor/MonitorEvent.h"

#include <string>

namespace tool {

/// What `dm watch` says of an event, each a line with its end, whatever the game has sent.
///
/// Text, values and lost lines begin with the time and are for standard output:
///
///          3.217 [2] loaded level 3
///          3.217 Engine Statistics: frame ms = 16.6
///          3.220 (12 lines were lost: they came faster than they were read)
///
/// The rest is for standard error and "" for profiles:
///
///     dm: lost the connection to 127.0.0.1:3600 (closed by the peer), waiting for it to come back
///
///   address    of the game.
///   isFirst    of Connected: there was no connection before.
///   isColored  each channel has a colour of its own, the usual one has none.
std::string watchText(const monitor::MonitorEvent& event, bool isColored = false);
std::string watchNotice(const monitor::MonitorEvent& event, const std::string& address,
                        bool isFirst);

/// Whether the event is what watchNotice is for.
bool isNotice(const monitor::MonitorEvent& event);

/// The same for programs, all events.
std::string watchJson(const monitor::MonitorEvent& event);

/// "Engine Statistics"; with its number if it has no name of its own.
std::string groupName(int group);

} // namespace tool
