#pragma once

#include "tools/dm/Arguments.h"
#include "tools/dm/LineWriter.h"

#include <dm/jobs.h>

#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <vector>

namespace tool {

/// Tells what happens in a hub: one line an event, whatever members call themselves.
///
/// Threads: note runs on managers' threads; the LineWriter prints.
class HubEvents
{
public:
    HubEvents(Format outputFormat, LineWriter& lineWriter)
        : format(outputFormat)
        , writer(lineWriter)
    {
    }

    /// The hub's callback; the context is the HubEvents.
    static void note(void* context, const dm::HubEvent& event);

private:
    struct Member
    {
        std::string name;
        std::string address;
        std::vector<std::string> pipes;
    };

    void take(const dm::HubEvent& event);
    static std::string toText(const dm::HubEvent& event, const Member& member);
    static std::string toJson(const dm::HubEvent& event, const Member& member);

    const Format format;
    LineWriter& writer;

    std::mutex mutex;                        // so that lines come in the order of the events
    std::map<std::uint32_t, Member> members; // under mutex; that are there
};

} // namespace tool
