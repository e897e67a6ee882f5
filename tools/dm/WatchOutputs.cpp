#include "tools/dm/WatchOutputs.h"

#include "tools/dm/ExitCode.h"

#include <zul/Interrupt.h>
#include <zul/ProfileSnapshot.h>

namespace tool {

using monitor::MonitorEvent;
using Kind = MonitorEvent::Kind;

void WatchOutputs::take(monitor::MonitorEvents events)
{
    if (failed)
        return;
    try {
        for (monitor::MonitorOutput* const output : outputs)
            output->take(events);
    } catch (...) {
        failure = std::current_exception();
        failed = true;
        zu::Interrupt::get().notify();
    }
}

void WatchOutputs::rethrow()
{
    if (failed)
        std::rethrow_exception(failure);
}

void WatchProgress::take(monitor::MonitorEvents events)
{
    for (const MonitorEvent& event : events) {
        switch (event.kind) {
        case Kind::Connected:
            connectedOnce = true;
            greeted = greeted || greet();
            break;
        case Kind::Lost:
        case Kind::Unreachable:
        case Kind::NotAMonitor: {
            const std::lock_guard lock(mutex);
            lastReason = event.text;
            break;
        }
        default:
            hasBrought = true;
        }
        if (event.kind == Kind::NotAMonitor && !hasBrought) {
            foreign = true;
            zu::Interrupt::get().notify();
        }
    }
}

std::string WatchProgress::reason() const
{
    const std::lock_guard lock(mutex);
    return lastReason;
}

WatchTrace::WatchTrace(const std::string& filePath)
    : path(filePath)
    , file(filePath)
{
}

void WatchTrace::take(monitor::MonitorEvents events)
{
    for (const MonitorEvent& event : events) {
        if (event.kind == Kind::Connected)
            trace.beginRun(event.text);
        if (event.kind != Kind::Profile)
            continue;
        d::Profile::Snapshot snapshot;
        ++profiles;
        if (snapshot.read(event.profile->data(), event.profile->size()))
            trace.add(snapshot, event.time);
        else
            ++unreadable;
    }
}

std::string WatchTrace::finish()
{
    if (trace.entries() == 0)
        throw ToolError(ExitCode::TimedOut, path + " was not written: " + whyEmpty());
    trace.write([this](std::string_view piece) { file.write(piece.data(), piece.size()); });
    file.commit();
    std::string sentence = "wrote " + path + ": " + std::to_string(trace.entries()) +
                           " zones and frames of " + std::to_string(profiles - unreadable) +
                           (profiles - unreadable == 1 ? " profile" : " profiles");
    if (trace.droppedEntries() > 0)
        sentence += ", " + std::to_string(trace.droppedEntries()) + " more found no room";
    if (unreadable > 0)
        sentence += ", " + std::to_string(unreadable) + " could not be read";
    return sentence;
}

std::string WatchTrace::whyEmpty() const
{
    if (profiles == 0)
        return "no profile has come; the game sends one with createProfilePacket, many games do "
               "for a request, see --request";
    if (unreadable > 0)
        return "the profiles are of a version that this tool cannot read";
    return "the profiles were empty; a game that has not been recording begins with the first one "
           "it sends, so try again";
}

} // namespace tool
