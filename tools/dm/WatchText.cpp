#include "tools/dm/WatchText.h"

#include "tools/dm/Color.h"
#include "tools/dm/CommonOptions.h"
#include "tools/dm/Text.h"

#include <dm/monitor.h>

#include <cstdio>
#include <iterator>
#include <nlohmann/json.hpp>

namespace tool {

using monitor::MonitorEvent;
using Kind = MonitorEvent::Kind;

namespace {

const char* nameOf(Kind kind)
{
    switch (kind) {
    case Kind::Connected:
        return "connected";
    case Kind::Lost:
        return "lost";
    case Kind::Unreachable:
        return "unreachable";
    case Kind::NotAMonitor:
        return "notAMonitor";
    case Kind::Text:
        return "text";
    case Kind::Value:
        return "value";
    case Kind::Profile:
        return "profile";
    case Kind::LostLines:
        return "lostLines";
    }
    return "";
}

double toSeconds(std::chrono::microseconds time)
{
    return std::chrono::duration<double>(time).count();
}

std::string timeOf(const MonitorEvent& event)
{
    char text[64];
    const int length = std::snprintf(text, sizeof text, "%10.3f ", toSeconds(event.time));
    return std::string(text, static_cast<std::size_t>(length));
}

Color colorOf(int channel)
{
    constexpr Color kColors[] = {Color::None, Color::Cyan, Color::Green, Color::Magenta,
                                 Color::Blue};
    return kColors[static_cast<unsigned>(channel) % std::size(kColors)];
}

std::string inBrackets(const std::string& reason)
{
    return reason.empty() ? "" : " (" + escapeControls(reason) + ")";
}

} // namespace

std::string groupName(int group)
{
    std::string name = dm::getInPlaceGroupName(group);
    if (group < dm::DefaultInPlaceData || group > dm::ResourceStatistics)
        name += " " + std::to_string(group);
    return name;
}

bool isNotice(const MonitorEvent& event)
{
    return event.kind != Kind::Text && event.kind != Kind::Value && event.kind != Kind::LostLines;
}

std::string watchText(const MonitorEvent& event, bool isColored)
{
    std::string line = timeOf(event);
    if (event.kind == Kind::Text) {
        line +=
            inColor("[" + std::to_string(event.channel) + "]", colorOf(event.channel), isColored) +
            " " + escapeControls(event.text);
    } else if (event.kind == Kind::Value) {
        line += groupName(event.group) + ": " + escapeControls(event.name) + " = " +
                escapeControls(event.text);
    } else {
        line += inColor("(" + std::to_string(event.lostLines) +
                            " lines were lost: they came faster than they were read)",
                        Color::Yellow, isColored);
    }
    return line += '\n';
}

std::string watchNotice(const MonitorEvent& event, const std::string& address, bool isFirst)
{
    const std::string where = escapeControls(address);
    switch (event.kind) {
    case Kind::Connected:
        return "dm: connected to " + where + (isFirst ? "\n" : " again\n");
    case Kind::Lost:
        return "dm: lost the connection to " + where + inBrackets(event.text) +
               ", waiting for it to come back\n";
    case Kind::Unreachable:
        return "dm: not connected to " + where + " yet" + inBrackets(event.text) + ", trying on\n";
    case Kind::NotAMonitor:
        return "dm: " + where + " is no debug monitor: " + escapeControls(event.text) + "\n";
    default:
        return "";
    }
}

std::string watchJson(const MonitorEvent& event)
{
    nlohmann::ordered_json object;
    object["event"] = nameOf(event.kind);
    object["time"] = toSeconds(event.time);
    object["unixTime"] = toSeconds(event.wallClock);
    switch (event.kind) {
    case Kind::Text:
        object["channel"] = event.channel;
        object["text"] = event.text;
        break;
    case Kind::Value:
        object["group"] = event.group;
        object["groupName"] = groupName(event.group);
        object["name"] = event.name;
        object["value"] = event.text;
        break;
    case Kind::Profile:
        object["bytes"] = event.profile->size();
        break;
    case Kind::LostLines:
        object["lines"] = event.lostLines;
        break;
    case Kind::Connected:
        object["address"] = event.text;
        break;
    case Kind::Lost:
    case Kind::Unreachable:
    case Kind::NotAMonitor:
        object["reason"] = event.text;
        break;
    }
    return toJsonLine(object);
}

} // namespace tool
