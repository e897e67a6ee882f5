/// Events as games cause them, all on channel 2 and of group 1, 0.2 seconds after the tool's start.
#pragma once

#include "tools/monitor/MonitorEvent.h"

using Kind = monitor::MonitorEvent::Kind;

inline monitor::MonitorEvent eventOf(Kind kind, const std::string& text,
                                     const std::string& name = "")
{
    monitor::MonitorEvent event;
    event.kind = kind;
    event.time = std::chrono::milliseconds(200);
    event.wallClock = std::chrono::seconds(1795288000);
    event.channel = 2;
    event.group = 1;
    event.name = name;
    event.text = text;
    if (kind == Kind::Profile)
        event.profile = std::make_shared<std::vector<zu::u8>>(text.begin(), text.end());
    return event;
}

inline monitor::MonitorEvent textEvent(const std::string& text)
{
    return eventOf(Kind::Text, text);
}
