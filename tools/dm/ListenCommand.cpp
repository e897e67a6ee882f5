#include "tools/dm/Answers.h"
#include "tools/dm/Commands.h"
#include "tools/dm/CommonOptions.h"
#include "tools/dm/Files.h"
#include "tools/dm/PipeService.h"
#include "tools/dm/Text.h"

#include <zul/Interrupt.h>
#include <zul/Listener.h>
#include <zul/Terminal.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <memory>
#include <nlohmann/json.hpp>

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

    void listening(const std::string& address, int port) const
    {
        if (format == Format::Json)
            printJsonLine({{"event", "listening"}, {"address", address}, {"port", port}});
        else
            std::fprintf(stderr, "dm: listening on %s\n",
                         Address{address, port}.toString().c_str());
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
    dm::CommunicationPipeManager* const manager =
        dm::initCommunicationManagerAsServer(kManagerName, options.port, 1, false);
    const dm::ConnectionStatus status = dm::getConnectionStatus(kManagerName);
    if (status.state != dm::ConnectionStatus::Connected)
        throw ToolError(ExitCode::CannotConnect,
                        "cannot listen on port " + std::to_string(options.port) + " (" +
                            toStdString(status.lastFailure) +
                            "): end what uses it, or choose another, or 0 for any free one");
    service.open(*manager, options.pipeName.c_str());
    dm::uint32 port = 0;
    manager->getHost(&port);
    printer.listening(toStdString(net::getListenAddress()), static_cast<int>(port));
    if (!service.run(options.count))
        throw ToolError(ExitCode::Interrupted, "interrupted");
    flush();
    return ExitCode::Ok;
}

} // namespace

void addListenCommand(CLI::App& app, Action& action)
{
    auto options = std::make_shared<ListenOptions>();
    CLI::App* const command = app.add_subcommand(
        "listen", "Serves a pipe: prints what arrives and answers the requests.");
    command->add_option("PORT", options->port, "The port to listen on, 0 for any free one")
        ->required()
        ->check(CLI::Range(0, 65535));
    command->add_option("PIPE", options->pipeName, "The pipe's name")->required();
    CLI::Option_group* const answers = command->add_option_group("Answer");
    answers->require_option(0, 1);
    answers->add_option("--answer", options->answers.text, "Answers with this text");
    answers->add_option("--answer-file", options->answers.filePath,
                        "Answers \"ok\" with this file's bytes, read anew each time");
    answers->add_option("--exec", options->answers.commandLine,
                        "Runs this command for each request: it gets DM_REQUEST_TEXT,\n"
                        "DM_REQUEST_VALUE and DM_PIPE in its environment and the data on its\n"
                        "standard input; what it prints becomes the answer's data");
    command->add_option("--count", options->count,
                        "Ends after this many requests and notifications");
    addFormatOption(*command, options->format);
    command->footer(
        "Listens on the loopback address, for this machine only. ZUL_LISTEN_ADDRESS=0.0.0.0 opens\n"
        "it to the network: pipes are neither authenticated nor encrypted.\n"
        "Without an answer option, requests are answered with an empty text.\n\n" +
        std::string(kExitCodeHelp));
    command->callback([options, &action] {
        options->answers.pipeName = options->pipeName;
        action = [options] { return listen(*options); };
    });
}

} // namespace tool
