#include "tools/dm/HubEvents.h"

#include "tools/dm/CommonOptions.h"
#include "tools/dm/Text.h"

#include <algorithm>
#include <nlohmann/json.hpp>

namespace tool {

void HubEvents::note(void* context, const dm::HubEvent& event)
{
    static_cast<HubEvents*>(context)->take(event);
}

void HubEvents::take(const dm::HubEvent& event)
{
    const std::lock_guard lock(mutex);
    Member& member = members[event.member];
    if (*event.memberName != '\0')
        member.name = event.memberName;
    if (*event.address != '\0')
        member.address = event.address;
    if (event.kind == dm::HubEvent::PipeOpened) {
        // A pipe is announced again when another connection takes it over.
        if (std::find(member.pipes.begin(), member.pipes.end(), event.pipeName) !=
            member.pipes.end())
            return;
        member.pipes.emplace_back(event.pipeName);
    }
    writer.write(format == Format::Json ? toJson(event, member) : toText(event, member));
    if (event.kind == dm::HubEvent::Left)
        members.erase(event.member);
}

std::string HubEvents::toText(const dm::HubEvent& event, const Member& member)
{
    std::string line = "member " + std::to_string(event.member);
    if (!member.name.empty())
        line += " \"" + escapeControls(member.name) + "\"";
    if (event.kind == dm::HubEvent::Joined)
        line += " joined from " + escapeControls(member.address);
    else if (event.kind == dm::HubEvent::PipeOpened)
        line += " opened pipe \"" + escapeControls(event.pipeName) + "\"";
    else
        line += " left";
    return line + "\n";
}

std::string HubEvents::toJson(const dm::HubEvent& event, const Member& member)
{
    constexpr const char* kNames[] = {"joined", "pipe", "left"};
    nlohmann::ordered_json object;
    object["event"] = kNames[event.kind];
    object["member"] = event.member;
    object["name"] = member.name;
    object["address"] = member.address;
    if (event.kind == dm::HubEvent::PipeOpened)
        object["pipe"] = event.pipeName;
    object["pipes"] = member.pipes;
    return toJsonLine(object);
}

} // namespace tool
