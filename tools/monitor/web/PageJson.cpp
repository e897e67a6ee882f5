#include "tools/monitor/web/EventHistory.h"

#include <dm/monitor.h>
#include <zul/ProfileSnapshot.h>

#include <algorithm>
#include <charconv>
#include <nlohmann/json.hpp>

namespace monitor {

namespace {

void appendNumber(std::string& json, double number)
{
    char digits[64];
    const auto end =
        std::to_chars(digits, digits + sizeof digits, number, std::chars_format::fixed, 3);
    json.append(digits, end.ptr);
}

void appendText(std::string& json, const std::string& text)
{
    using Json = nlohmann::json;
    const bool isLong = text.size() > EventHistory::kMaxTextBytes;
    const std::string shown = isLong ? text.substr(0, EventHistory::kMaxTextBytes) : text;
    json += Json(shown).dump(-1, ' ', false, Json::error_handler_t::replace);
}

void appendWallClock(std::string& json, const MonitorEvent& event)
{
    json += ',';
    json += std::to_string(event.wallClock.count() / 1000);
    json += ',';
    appendText(json, event.text);
}

const char* kindName(MonitorEvent::Kind kind)
{
    using Kind = MonitorEvent::Kind;
    switch (kind) {
    case Kind::Connected:
        return "connected";
    case Kind::Lost:
    case Kind::Unreachable:
    case Kind::NotAMonitor:
        return "disconnected";
    case Kind::Text:
        return "text";
    case Kind::Value:
        return "value";
    case Kind::Profile:
        return "profile";
    case Kind::LostLines:
        return "lines lost";
    }
    return "";
}

void appendThread(std::string& json, const d::Profile::Snapshot& snapshot,
                  const d::Profile::Snapshot::Thread& thread, d::Profile::u64 start)
{
    json += "{\"name\":";
    appendText(json, thread.name);
    json += ",\"id\":" + std::to_string(thread.id);
    json += thread.ended ? ",\"ended\":true" : ",\"ended\":false";
    json += ",\"zones\":[";
    const char* separator = "";
    for (const auto& zone : thread.zones) {
        json += separator;
        json += std::to_string(zone.name) + ',' + std::to_string(zone.depth) + ',';
        appendNumber(json, snapshot.microseconds(start, zone.begin));
        json += ',';
        appendNumber(json, snapshot.microseconds(zone.begin, zone.end));
        separator = ",";
    }
    json += "],\"frames\":[";
    separator = "";
    for (const d::Profile::u64 frame : thread.frames) {
        json += separator;
        appendNumber(json, snapshot.microseconds(start, frame));
        separator = ",";
    }
    json += "]}";
}

} // namespace

std::string toPageJson(const MonitorEvent& event, u64 number)
{
    using Kind = MonitorEvent::Kind;
    std::string json = "[\"";
    json += kindName(event.kind);
    json += "\",";
    appendNumber(json, std::chrono::duration<double>(event.time).count());
    switch (event.kind) {
    case Kind::Connected:
    case Kind::Lost:
    case Kind::Unreachable:
    case Kind::NotAMonitor:
        appendWallClock(json, event);
        break;
    case Kind::Text:
        json += ',' + std::to_string(event.channel) + ',';
        appendText(json, event.text);
        break;
    case Kind::Value:
        json += ',' + std::to_string(event.group) + ',';
        appendText(json, dm::getInPlaceGroupName(event.group));
        json += ',';
        appendText(json, event.name);
        json += ',';
        appendText(json, event.text);
        break;
    case Kind::Profile:
        json += ',' + std::to_string(number);
        break;
    case Kind::LostLines:
        json += ',' + std::to_string(event.lostLines);
        break;
    }
    json += ']';
    return json;
}

std::string profileToPageJson(const std::vector<u8>& bytes)
{
    d::Profile::Snapshot snapshot;
    if (!snapshot.read(bytes.data(), bytes.size()))
        return "";

    auto start = ~d::Profile::u64{0};
    auto end = d::Profile::u64{0};
    for (const auto& thread : snapshot.threads) {
        for (const auto& zone : thread.zones) {
            start = std::min(start, zone.begin);
            end = std::max(end, zone.end);
        }
        for (const d::Profile::u64 frame : thread.frames) {
            start = std::min(start, frame);
            end = std::max(end, frame);
        }
    }
    start = std::min(start, end);

    std::string json = "{\"names\":[";
    const char* separator = "";
    for (const std::string& name : snapshot.names) {
        json += separator;
        appendText(json, name);
        separator = ",";
    }
    json += "],\"microseconds\":";
    appendNumber(json, snapshot.microseconds(start, end));
    json += ",\"threads\":[";
    separator = "";
    for (const auto& thread : snapshot.threads) {
        json += separator;
        appendThread(json, snapshot, thread, start);
        separator = ",";
    }
    json += "]}";
    return json;
}

} // namespace monitor
