#pragma once

#include "tools/dm/Arguments.h"

#include <dm/jobs.h>

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <exception>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace tool {

/// Prints what happens in a hub: one line an event, whatever members call themselves.
///
/// Threads: managers only leave a note, because they must not wait for whoever reads the standard
/// output; a thread of its own prints. It is started by the constructor, woken by notes, and
/// joined by finish, which must be called.
class HubEvents
{
public:
    explicit HubEvents(Format outputFormat);
    HubEvents(const HubEvents&) = delete;
    HubEvents& operator=(const HubEvents&) = delete;

    /// The hub's callback; the context is the HubEvents.
    static void note(void* context, const dm::HubEvent& event);

    /// Whether standard output takes nothing any more. zu::Interrupt is notified of it.
    bool hasFailed();

    /// Waits until all notes are printed. Rethrows what went wrong with that. When standard output
    /// stands still for a second, ends the process: what blocks in there cannot be woken.
    void finish();

private:
    struct Event
    {
        dm::HubEvent::Kind kind;
        std::uint32_t member;
        std::string name;
        std::string address;
        std::string pipe;
    };

    struct Member
    {
        std::string name;
        std::string address;
        std::vector<std::string> pipes;
    };

    void run();
    void printAll();
    void print(const Event& event);
    static void printText(const Event& event, const Member& member);
    static void printJson(const Event& event, const Member& member);

    const Format format;
    std::map<std::uint32_t, Member> members; // that are there; the printing thread only

    std::mutex mutex;
    std::condition_variable changed;
    std::deque<Event> noted;
    unsigned long printed = 0;
    bool isFinishing = false;
    bool hasEnded = false;
    std::exception_ptr failure;

    std::thread thread; // last: it uses all of the above
};

} // namespace tool
