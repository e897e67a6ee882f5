#include "tools/dm/HubEvents.h"

#include "tools/dm/CommonOptions.h"
#include "tools/dm/ExitCode.h"
#include "tools/dm/Files.h"
#include "tools/dm/Text.h"

#include <zul/Interrupt.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <nlohmann/json.hpp>

namespace tool {

HubEvents::HubEvents(Format outputFormat)
    : format(outputFormat)
    , thread([this] { run(); })
{
}

void HubEvents::note(void* context, const dm::HubEvent& event)
{
    auto& self = *static_cast<HubEvents*>(context);
    {
        const std::lock_guard lock(self.mutex);
        self.noted.push_back(
            {event.kind, event.member, event.memberName, event.address, event.pipeName});
    }
    self.changed.notify_all();
}

bool HubEvents::hasFailed()
{
    const std::lock_guard lock(mutex);
    return failure != nullptr;
}

void HubEvents::finish()
{
    constexpr std::chrono::seconds kStandsStill{1};
    {
        std::unique_lock lock(mutex);
        isFinishing = true;
        changed.notify_all();
        while (!hasEnded) {
            const unsigned long before = printed;
            const bool moved =
                changed.wait_for(lock, kStandsStill, [&] { return hasEnded || printed != before; });
            if (moved)
                continue;
            std::fputs("dm: standard output takes no more, the last events are lost\n", stderr);
            std::quick_exit(static_cast<int>(ExitCode::File));
        }
    }
    thread.join();
    if (failure != nullptr)
        std::rethrow_exception(failure);
}

void HubEvents::run()
{
    std::exception_ptr thrown;
    try {
        printAll();
    } catch (...) {
        thrown = std::current_exception();
    }
    {
        const std::lock_guard lock(mutex);
        failure = thrown;
        hasEnded = true;
    }
    changed.notify_all();
    zu::Interrupt::get().notify();
}

void HubEvents::printAll()
{
    std::unique_lock lock(mutex);
    for (;;) {
        changed.wait(lock, [this] { return isFinishing || !noted.empty(); });
        if (noted.empty())
            return;
        const Event event = std::move(noted.front());
        noted.pop_front();
        lock.unlock();
        print(event);
        lock.lock();
        ++printed;
        changed.notify_all();
    }
}

void HubEvents::print(const Event& event)
{
    Member& member = members[event.member];
    if (!event.name.empty())
        member.name = event.name;
    if (!event.address.empty())
        member.address = event.address;
    if (event.kind == dm::HubEvent::PipeOpened) {
        // Opened from both ends at once, a pipe may be announced twice.
        if (std::find(member.pipes.begin(), member.pipes.end(), event.pipe) != member.pipes.end())
            return;
        member.pipes.push_back(event.pipe);
    }
    if (format == Format::Json)
        printJson(event, member);
    else
        printText(event, member);
    if (event.kind == dm::HubEvent::Left)
        members.erase(event.member);
}

void HubEvents::printText(const Event& event, const Member& member)
{
    std::string line = "member " + std::to_string(event.member);
    if (!member.name.empty())
        line += " \"" + escapeControls(member.name) + "\"";
    if (event.kind == dm::HubEvent::Joined)
        line += " joined from " + escapeControls(member.address);
    else if (event.kind == dm::HubEvent::PipeOpened)
        line += " opened pipe \"" + escapeControls(event.pipe) + "\"";
    else
        line += " left";
    line += "\n";
    writeOutput(line.data(), line.size());
}

void HubEvents::printJson(const Event& event, const Member& member)
{
    constexpr const char* kNames[] = {"joined", "pipe", "left"};
    nlohmann::ordered_json object;
    object["event"] = kNames[event.kind];
    object["member"] = event.member;
    object["name"] = member.name;
    object["address"] = member.address;
    if (event.kind == dm::HubEvent::PipeOpened)
        object["pipe"] = event.pipe;
    object["pipes"] = member.pipes;
    printJsonLine(object);
}

} // namespace tool
