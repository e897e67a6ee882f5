#include "tools/dm/Commands.h"
#include "tools/dm/CommonOptions.h"
#include "tools/dm/HubEvents.h"
#include "tools/dm/Listening.h"

#include <dm/jobs.h>
#include <zul/Interrupt.h>

#include <CLI/CLI.hpp>
#include <atomic>
#include <memory>
#include <thread>

namespace tool {

namespace {

struct HubOptions
{
    int port = 0;
    std::string name;
    std::string awaitedName; // empty: until it is interrupted
    Format format = Format::Text;
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
    HubSession(const HubOptions& options, HubEvents& events)
        : hub(options.name.c_str(), options.port, {&events, HubEvents::note})
    {
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

void serve(const HubOptions& options, HubEvents& events, LineWriter& writer)
{
    constexpr zu::u32 kLongMs = 60 * 1000;
    zu::Interrupt& interrupt = zu::Interrupt::get();
    HubSession session(options, events);
    requireListening(options.name.c_str(), options.port);
    announceListening(options.format, session.hub.getPort());
    ProcessWait wait(session.hub);
    if (!options.awaitedName.empty())
        wait.start();
    while (!wait.isOver() && !writer.hasFailed() && !interrupt.waitFor(kLongMs)) {
    }
}

ExitCode runHub(const HubOptions& options)
{
    dm::setLogSink([](const char*) {}); // the events say it all
    LineWriter writer;
    HubEvents events(options.format, writer);
    try {
        serve(options, events, writer);
    } catch (...) {
        writer.finish();
        throw;
    }
    writer.finish(); // what the end itself has brought, too
    return ExitCode::Ok;
}

// --wait names the hub as well.
void settleName(HubOptions& options)
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

constexpr const char* kHubHelp =
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
    "an answer brings 64 KiB of data at most. Only programs of this machine can be members.\n\n";

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
        ->check(whyNoName);
    command
        ->add_option("--wait", options->awaitedName,
                     "Names the hub, and ends it when other processes have held the named mutex\n"
                     "NAME_refcount and none does any more")
        ->check(whyNoName);
    addFormatOption(*command, options->format);
    command->footer(std::string(kHubHelp) + kExitCodeHelp);
    command->callback([options, &action] {
        action = [options] {
            settleName(*options);
            return runHub(*options);
        };
    });
}

} // namespace tool
