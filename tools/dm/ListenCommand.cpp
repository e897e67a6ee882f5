#include "tools/dm/Answers.h"
#include "tools/dm/Commands.h"
#include "tools/dm/CommonOptions.h"
#include "tools/dm/ConnectionWatch.h"
#include "tools/dm/Files.h"
#include "tools/dm/Listening.h"
#include "tools/dm/PipeService.h"
#include "tools/dm/Text.h"

#include <zul/Interrupt.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>

namespace tool {

namespace {

constexpr const char* kManagerName = "dm listen";

// How long the last answer may take to leave, in rounds between which an interrupt is noticed. By
// now little is left of it: respond returns when the rest fits into the connection's backlog.
constexpr zu::u32 kFlushMs = 100;
constexpr int kFlushRounds = 50;

struct ListenOptions
{
    int port = 0;
    std::optional<Address> hub; // to be a member of, instead of listening
    std::string pipeName;
    AnswerOptions answers;
    unsigned long count = 0;
    Format format = Format::Text;
};

// Each event is one line whatever it holds, so that no peer can forge another's.
class EventPrinter
{
public:
    explicit EventPrinter(Format outputFormat)
        : format(outputFormat)
    {
    }

    void joined(const Address& hub) const
    {
        if (format == Format::Json)
            printJsonLine({{"event", "joined"}, {"address", hub.host}, {"port", hub.port}});
        else
            std::fprintf(stderr, "dm: member of the hub at %s\n", hub.toString().c_str());
    }

    void notified(const Notification& notification) const
    {
        if (format == Format::Json)
            printJsonLine(
                {{"event", "notify"}, {"text", notification.text}, {"value", notification.value}});
        else
            printLine("notify " + std::to_string(notification.value) + " " +
                      escapeControls(notification.text));
    }

    void requested(const Request& request) const
    {
        if (format == Format::Json) {
            printJsonLine({{"event", "request"},
                           {"text", request.text},
                           {"value", request.value},
                           {"size", request.dataSize}});
            return;
        }
        std::string line =
            "request " + std::to_string(request.value) + " " + escapeControls(request.text);
        if (request.dataSize != 0)
            line += " (" + std::to_string(request.dataSize) + " bytes of data)";
        printLine(line);
    }

private:
    static void printLine(const std::string& text)
    {
        const std::string line = text + "\n";
        writeOutput(line.data(), line.size());
    }

    const Format format;
};

// Closes the manager on every way out.
struct ManagerGuard
{
    ManagerGuard() = default;
    ~ManagerGuard() { dm::deinitCommunicationManager(kManagerName); }
    ManagerGuard(const ManagerGuard&) = delete;
    ManagerGuard& operator=(const ManagerGuard&) = delete;
};

// What the last asker has not got yet must not be lost with the manager.
void flush()
{
    for (int round = 0; round < kFlushRounds && !zu::Interrupt::get().isRaised(); ++round)
        if (dm::flushCommunicationManager(kManagerName, kFlushMs) != dm::FlushResult::TimedOut)
            return;
}

bool serveClients(const ListenOptions& options, PipeService& service)
{
    dm::CommunicationPipeManager* const manager =
        dm::initCommunicationManagerAsServer(kManagerName, options.port, 1, false);
    requireListening(kManagerName, options.port);
    service.open(*manager, options.pipeName.c_str());
    dm::uint32 port = 0;
    manager->getHost(&port);
    announceListening(options.format, static_cast<int>(port));
    return service.run(options.count);
}

bool serveMember(const ListenOptions& options, const EventPrinter& printer, PipeService& service)
{
    const Address& hub = *options.hub;
    // It learns the address last: whoever is in the hub already may have something to say at once.
    dm::CommunicationPipeManager* const manager =
        dm::initCommunicationManagerAsClient(kManagerName, "", hub.port);
    service.open(*manager, options.pipeName.c_str());
    ConnectionWatch watch(kManagerName, {manager->getPipe(options.pipeName.c_str())}, hub,
                          [&] { printer.joined(hub); });
    manager->setHost(hub.host.c_str(), static_cast<dm::uint32>(hub.port));
    return service.run(options.count, [&] { watch.look(); });
}

ExitCode listen(const ListenOptions& options)
{
    if (!options.answers.filePath.empty())
        readWhole(options.answers.filePath); // a wrong name shows now, not to the first asker
    zu::Interrupt::get();

    const EventPrinter printer(options.format);
    PipeService service({[&](const Notification& notification) { printer.notified(notification); },
                         [&](const Request& request) {
                             printer.requested(request);
                             return makeReply(options.answers, request);
                         }});
    const ManagerGuard guard;
    const bool hasEnded =
        options.hub ? serveMember(options, printer, service) : serveClients(options, service);
    if (!hasEnded)
        throw ToolError(ExitCode::Interrupted, "interrupted");
    flush();
    return ExitCode::Ok;
}

// The words of the command line: PORT PIPE, or with --hub PIPE.
struct Words
{
    std::string first;
    std::string second;
};

void takeWords(const Words& words, ListenOptions& options)
{
    if (options.hub && !words.second.empty())
        throw ToolError(ExitCode::Usage, "with --hub give the pipe's name alone: a member does not "
                                         "listen on a port");
    options.pipeName = options.hub ? words.first : words.second;
    if (options.pipeName.empty())
        throw ToolError(ExitCode::Usage, "PIPE is missing: give PORT and PIPE, or --hub and PIPE");
    if (const std::string why = whyNoPipeName(options.pipeName); !why.empty())
        throw ToolError(ExitCode::Usage, "PIPE " + why);
    if (!options.hub)
        options.port = parsePort(words.first);
}

constexpr const char* kListenHelp =
    "Listens on the loopback address, for this machine only. ZUL_LISTEN_ADDRESS=0.0.0.0 opens\n"
    "it to the network: pipes are neither authenticated nor encrypted.\n"
    "Without an answer option, requests are answered with an empty text.\n\n"
    "Examples:\n"
    "  dm listen 3500 build --answer yes\n"
    "  dm listen --hub 127.0.0.1:5000 build --answer yes    PIPE alone: a member has no PORT\n\n";

} // namespace

void addListenCommand(CLI::App& app, Action& action)
{
    auto options = std::make_shared<ListenOptions>();
    auto words = std::make_shared<Words>();
    CLI::App* const command = app.add_subcommand(
        "listen", "Serves a pipe: prints what arrives and answers the requests.");
    command->add_option("PORT", words->first,
                        "The port to listen on, 0 for any free one; left out with --hub");
    command->add_option("PIPE", words->second, "The pipe's name, with --hub the only word");
    command
        ->add_option_function<std::string>(
            "--hub", [options](const std::string& text) { options->hub = parseAddress(text); },
            "HOST:PORT of a hub: joins it as a member and serves the pipe there;\n"
            "waits for it when it is not there, also later")
        ->type_name("HOST:PORT");
    CLI::Option_group* const answers = command->add_option_group("Answer");
    answers->require_option(0, 1);
    answers->add_option("--answer", options->answers.text, "Answers with this text");
    answers
        ->add_option("--answer-file", options->answers.filePath,
                     "Answers \"ok\" with this file's bytes, read anew each time")
        ->type_name("FILE");
    answers->add_option("--exec", options->answers.commandLine,
                        "Runs this command for each request: it gets DM_REQUEST_TEXT,\n"
                        "DM_REQUEST_VALUE and DM_PIPE in its environment and the data on its\n"
                        "standard input; what it prints becomes the answer's data");
    command->add_option("--count", options->count,
                        "Ends after this many requests and notifications");
    addFormatOption(*command, options->format);
    command->footer(std::string(kListenHelp) + kExitCodeHelp);
    command->callback([options, words, &action] {
        takeWords(*words, *options);
        options->answers.pipeName = options->pipeName;
        action = [options] { return listen(*options); };
    });
}

} // namespace tool
