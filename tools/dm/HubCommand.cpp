#include "tools/dm/Commands.h"
#include "tools/dm/CommonOptions.h"
#include "tools/dm/Files.h"
#include "tools/dm/Listening.h"
#include "tools/dm/Text.h"

#include <dm/jobs.h>
#include <zul/Interrupt.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <nlohmann/json.hpp>
#include <thread>
#include <utility>

namespace tool {

namespace {

struct HubOptions
{
    int port = 0;
    std::string name;
    std::string awaitedName; // empty: until it is interrupted
    Format format = Format::Text;
};

/// What has happened and is not printed yet. Managers' threads must not wait for whoever reads the
/// standard output, so they only leave a note.
class EventQueue
{
public:
    struct Event
    {
        dm::HubEvent::Kind kind;
        std::uint32_t member;
        std::string name;
        std::string address;
        std::string pipe;
    };

    static void note(void* queue, const dm::HubEvent& event)
    {
        auto& self = *static_cast<EventQueue*>(queue);
        {
            const std::lock_guard lock(self.mutex);
            self.events.push_back(
                {event.kind, event.member, event.memberName, event.address, event.pipeName});
        }
        zu::Interrupt::get().notify();
    }

    std::vector<Event> take()
    {
        const std::lock_guard lock(mutex);
        return std::exchange(events, {});
    }

private:
    std::mutex mutex;
    std::vector<Event> events;
};

/// One line an event, whatever members call themselves.
class HubPrinter
{
public:
    explicit HubPrinter(Format outputFormat)
        : format(outputFormat)
    {
    }

    void print(const EventQueue::Event& event)
    {
        Member& member = members[event.member];
        if (!event.name.empty())
            member.name = event.name;
        if (!event.address.empty())
            member.address = event.address;
        if (event.kind == dm::HubEvent::PipeOpened) {
            // Opened from both ends at once, a pipe may be announced twice.
            if (std::find(member.pipes.begin(), member.pipes.end(), event.pipe) !=
                member.pipes.end())
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

private:
    struct Member
    {
        std::string name;
        std::string address;
        std::vector<std::string> pipes;
    };

    static void printText(const EventQueue::Event& event, const Member& member)
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

    static void printJson(const EventQueue::Event& event, const Member& member)
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

    const Format format;
    std::map<std::uint32_t, Member> members; // that are there
};

/// Waits on a thread of its own for the processes that hold the hub's name. Started by start,
/// joined by the destructor, which ends the wait.
class ProcessWait
{
public:
    explicit ProcessWait(dm::BroadcastServer& waitingHub)
        : hub(waitingHub)
    {
    }

    ~ProcessWait()
    {
        hub.stopWaiting();
        if (thread.joinable())
            thread.join();
    }

    ProcessWait(const ProcessWait&) = delete;
    ProcessWait& operator=(const ProcessWait&) = delete;

    void start()
    {
        thread = std::thread([this] {
            hub.waitOnProccesses();
            hasEnded = true;
            zu::Interrupt::get().notify();
        });
    }

    bool isOver() const { return hasEnded; }

private:
    dm::BroadcastServer& hub;
    std::atomic<bool> hasEnded{false};
    std::thread thread;
};

/// A hub that is there exactly as long as this.
struct HubSession
{
    HubSession(const HubOptions& options, EventQueue& events)
        : hub(options.name.c_str(), options.port)
    {
        hub.setEventCallback({&events, EventQueue::note});
    }

    ~HubSession()
    {
        dm::deinitCommunicationManagers();
        hub.setEventCallback({});
    }

    HubSession(const HubSession&) = delete;
    HubSession& operator=(const HubSession&) = delete;

    dm::BroadcastServer hub;
};

ExitCode serve(const HubOptions& options)
{
    constexpr zu::u32 kLongMs = 60 * 1000;
    zu::Interrupt& interrupt = zu::Interrupt::get();
    dm::setLogSink([](const char*) {}); // the events say it all
    EventQueue events;
    HubPrinter printer(options.format);
    const auto printAll = [&] {
        for (const EventQueue::Event& event : events.take())
            printer.print(event);
    };
    {
        HubSession session(options, events);
        requireListening(options.name.c_str(), options.port);
        announceListening(options.format, session.hub.getPort());
        ProcessWait wait(session.hub);
        if (!options.awaitedName.empty())
            wait.start();
        while (!interrupt.isRaised() && !wait.isOver()) {
            interrupt.waitFor(kLongMs);
            printAll();
        }
    }
    printAll();
    return ExitCode::Ok;
}

void check(HubOptions& options)
{
    constexpr const char* kDefaultName = "hub";
    if (!options.awaitedName.empty() && !options.name.empty() &&
        options.name != options.awaitedName)
        throw ToolError(ExitCode::Usage, "--wait " + options.awaitedName +
                                             " names the hub too: leave --name out, or give it "
                                             "the same name");
    if (options.name.empty())
        options.name = options.awaitedName.empty() ? kDefaultName : options.awaitedName;
}

std::string checkNotEmpty(const std::string& name)
{
    return name.empty() ? "the name is empty: give it at least a letter" : "";
}

} // namespace

void addHubCommand(CLI::App& app, Action& action)
{
    auto options = std::make_shared<HubOptions>();
    CLI::App* const command = app.add_subcommand(
        "hub", "Lets programs talk to each other: runs a hub and prints who comes and goes.");
    command
        ->add_option("PORT", options->port,
                     "The port to listen on, 0 for any free one. Members get ports of their\n"
                     "own, from the next one on, or with 0 any free ones")
        ->required()
        ->check(CLI::Range(0, 65535));
    command->add_option("--name", options->name, "The hub's name (\"hub\" without)")
        ->check(checkNotEmpty);
    command
        ->add_option("--wait", options->awaitedName,
                     "Names the hub, and ends it when other processes have held the named mutex\n"
                     "NAME_refcount and none does any more")
        ->check(checkNotEmpty);
    addFormatOption(*command, options->format);
    command->footer(
        "A hub ends when it is interrupted, with exit code 0. It tells on standard error where it\n"
        "listens. Standard output has the members' events only, the library's own log lines are\n"
        "switched off:\n"
        "  member 0 joined from 127.0.0.1\n"
        "  member 0 \"game\" opened pipe \"build\"\n"
        "  member 0 \"game\" left\n"
        "--format json prints all on standard output, an object a line, with event (listening,\n"
        "joined, pipe, left), member, name, address and pipes: those open, or of one that left,\n"
        "those it had. The name comes with the first pipe.\n\n"
        "Examples:\n"
        "  dm hub 5000\n"
        "  dm listen --hub 127.0.0.1:5000 build --answer yes       joins as a member\n"
        "  dm call 127.0.0.1:5000 build \"ready?\" --hub --member 0  asks it\n\n"
        "A notification goes to all other members, a request to the one that its number names,\n"
        "an answer brings 64 KiB of data at most. Only programs of this machine can be "
        "members.\n\n" +
        std::string(kExitCodeHelp));
    command->callback([options, &action] {
        action = [options] {
            check(*options);
            return serve(*options);
        };
    });
}

} // namespace tool
