#include "tools/dm/Commands.h"
#include "tools/dm/CommonOptions.h"
#include "tools/dm/ConnectionWatch.h"
#include "tools/dm/Files.h"
#include "tools/dm/JobScript.h"
#include "tools/dm/LineWriter.h"
#include "tools/dm/ScriptBatch.h"
#include "tools/dm/Text.h"

#include <dm/jobs.h>
#include <zul/Interrupt.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <memory>
#include <optional>

namespace tool {

namespace {

using Clock = std::chrono::steady_clock;

constexpr zu::u32 kLookMs = 25;

struct RunOptions
{
    std::string path;
    std::string name;
    Address address;
    std::optional<std::chrono::milliseconds> timeout;
};

/// The library's log lines, on standard output without holding up the jobs: they must end when they
/// are told to, whether it is read or not.
class LogLines
{
public:
    LogLines()
    {
        s_writer = &writer;
        dm::setLogSink([](const char* line) { s_writer->write(line); });
    }

    /// When there are no jobs any more.
    void finish()
    {
        dm::setLogSink([](const char*) {});
        writer.finish();
    }

private:
    static inline LineWriter* s_writer = nullptr;
    LineWriter writer;
};

/// A client that runs one script, from its first connection until all it sent is out.
///
/// Threads: the main thread's, which waits; the jobs run on the client's own.
class ScriptRun
{
public:
    ScriptRun(const RunOptions& runOptions, std::string shownPath, const JobScript& jobScript)
        : options(runOptions)
        , scriptName(std::move(shownPath))
        , script(jobScript)
        , batch(jobScript.steps)
        , client(runOptions.name.c_str())
        , watch(runOptions.name, makePipes(), runOptions.address, [] {})
    {
    }

    ~ScriptRun()
    {
        // In this order: jobs that the closing lets go on must find that it is over.
        batch.stop();
        dm::deinitCommunicationManagers();
    }

    ScriptRun(const ScriptRun&) = delete;
    ScriptRun& operator=(const ScriptRun&) = delete;

    void run()
    {
        // The address last: what arrives early must find its pipe.
        client.connect(options.address.host.c_str(), options.address.port);
        waitUntil([this] { return watch.wasConnected(); }, &ScriptRun::missingPipe);
        batch.addJobsTo(client);
        client.runJobs(false);
        waitUntil([this] { return batch.isDone(); }, &ScriptRun::runningJob);
        client.waitJobsToComplete();
        try {
            batch.rethrowFailure();
        } catch (const ToolError& error) {
            flushAnyway(); // what went before has happened
            throw ToolError(error.code, place(batch.current()) + error.what());
        }
        flush();
    }

private:
    /// What the run waits for: the step, and words for it.
    struct Awaited
    {
        const ScriptStep& step;
        std::string what;
    };
    using Describe = Awaited (ScriptRun::*)() const;

    std::vector<dm::CommunicationPipe*> makePipes()
    {
        std::vector<dm::CommunicationPipe*> pipes;
        for (const ScriptStep& step : script.steps) {
            dm::CommunicationPipe* const pipe = client.getPipe(step.pipe.c_str());
            if (std::find(pipes.begin(), pipes.end(), pipe) != pipes.end())
                continue;
            pipe->setConnectionCallback({nullptr, wakeMainThread});
            pipes.push_back(pipe);
        }
        return pipes;
    }

    template <typename Condition>
    void waitUntil(Condition condition, Describe describe)
    {
        zu::Interrupt& interrupt = zu::Interrupt::get();
        for (watch.look(); !condition(); watch.look()) {
            check(describe);
            interrupt.waitFor(kLookMs);
        }
    }

    void check(Describe describe)
    {
        const dm::ConnectionStatus status = dm::getConnectionStatus(options.name.c_str());
        requireOwnVersion(status, options.address.toString());
        const bool isInterrupted = zu::Interrupt::get().isRaised();
        if (!isInterrupted && (!options.timeout || Clock::now() - start < *options.timeout))
            return;
        const Awaited awaited = (this->*describe)();
        batch.stop();
        const bool wasConnected = status.connections > 0;
        const bool isConnected = status.state == dm::ConnectionStatus::Connected;
        const ExitCode code = isInterrupted   ? ExitCode::Interrupted
                              : !wasConnected ? ExitCode::CannotConnect
                              : isConnected   ? ExitCode::TimedOut
                                              : ExitCode::LostConnection;
        throw ToolError(code,
                        place(awaited.step) +
                            (isInterrupted ? "interrupted while "
                                           : "after " + toString(*options.timeout) + " still ") +
                            (wasConnected ? awaited.what : describeConnecting(status)));
    }

    std::string describeConnecting(const dm::ConnectionStatus& status) const
    {
        const std::string reason = toStdString(status.lastFailure);
        return "connecting to " + options.address.toString() +
               (reason.empty() ? "" : " (" + reason + ")") +
               ", nothing was run: is the hub or program running, and listening there?";
    }

    Awaited missingPipe() const
    {
        const dm::CommunicationPipe* const missing = watch.findMissing();
        const auto step =
            std::find_if(script.steps.begin(), script.steps.end(), [&](const ScriptStep& one) {
                return dm::getCommunicationPipe(options.name.c_str(), one.pipe.c_str()) == missing;
            });
        const ScriptStep& first = step != script.steps.end() ? *step : script.steps.front();
        return {first, "waiting for " + options.address.toString() + " to open the pipe '" +
                           first.pipe + "', nothing was run: check the pipe's name"};
    }

    Awaited runningJob() const
    {
        const ScriptStep& step = batch.current();
        return {step, std::string("at ") + nameOf(step.kind) + " on the pipe '" + step.pipe +
                          "'; what follows it was not run"};
    }

    Awaited lastJob() const
    {
        return {script.steps.back(), "sending what the last jobs have left"};
    }

    void flush()
    {
        dm::FlushResult result{};
        waitUntil(
            [&] {
                result = dm::flushCommunicationManager(options.name.c_str(), kLookMs);
                return result != dm::FlushResult::TimedOut;
            },
            &ScriptRun::lastJob);
        if (result == dm::FlushResult::Lost)
            throw ToolError(ExitCode::LostConnection,
                            "lost the connection to " + options.address.toString() +
                                " while sending: not everything that " + scriptName +
                                " sent may have arrived, run it again");
    }

    void flushAnyway()
    {
        try {
            flush();
        } catch (const ToolError&) {
            // The failure that ended the run is the one to tell.
        }
    }

    std::string place(const ScriptStep& step) const
    {
        return scriptName + ":" + std::to_string(step.line) + ": ";
    }

    const RunOptions& options;
    const std::string scriptName;
    const JobScript& script;
    const Clock::time_point start = Clock::now();
    ScriptBatch batch;
    dm::Client client; // its jobs use the batch
    ConnectionWatch watch;
};

ExitCode run(const RunOptions& options)
{
    const std::string shownPath = options.path == "-" ? "<stdin>" : options.path;
    const std::vector<char> text = readWhole(options.path);
    const JobScript script = parseJobScript({text.data(), text.size()});
    for (const ScriptError& error : script.errors)
        std::fprintf(stderr, "%s:%zu:%zu: %s\n", escapeControls(shownPath).c_str(), error.line,
                     error.column, escapeControls(error.message).c_str());
    if (!script.errors.empty())
        return ExitCode::Usage;
    zu::Interrupt::get();
    if (script.steps.empty())
        return ExitCode::Ok;
    LogLines logLines;
    try {
        ScriptRun(options, shownPath, script).run();
    } catch (const ToolError&) {
        logLines.finish();
        throw;
    }
    logLines.finish();
    return ExitCode::Ok;
}

constexpr const char* kRunHelp =
    "A script has one job a line; they run in order, each when the one before is over:\n"
    "  notify PIPE TEXT VALUE             sends a notification\n"
    "  request PIPE TEXT [> FILE]         sends a request with number 0, waits for the answer\n"
    "  wait-notify PIPE                   waits for one notification, of any text but \"\"\n"
    "  wait-request PIPE                  waits for one request, of any text but \"\"\n"
    "  respond PIPE TEXT [< FILE]         answers it\n"
    "  wait-notify-and-request PIPE NOTIFY TEXT [> FILE]\n"
    "                                     waits for one notification of any text (NOTIFY is\n"
    "                                     for the reader and the log), then sends a request\n"
    "                                     with the notification's number\n"
    "> FILE stores the answer's data, < FILE sends the file's bytes along; FILE is looked up\n"
    "from the current folder. A word with blanks is written in quotes, where \\\" \\\\ \\n and\n"
    "\\t work. # starts a comment. A script with errors runs nothing, nor does one with a\n"
    "missing < FILE; after a > FILE that cannot be written, what follows is not run.\n\n"
    "The first job begins when all pipes of the script are open. In a hub, requests with\n"
    "number 0 go to member 0, and a notification arrives with its sender's member number as\n"
    "VALUE, so that wait-notify-and-request asks the sender; but member 0's arrives with the\n"
    "receiver's own: ask member 0 with request. Answers bring 64 KiB of data at most, and\n"
    "neither text nor data when the member is not there.\n"
    "Standard output has the library's log lines.\n\n"
    "Example: dm run build.jobs --name build --connect 127.0.0.1:5000, where build.jobs is\n"
    "  # Tell the others, then serve the first that asks for the log.\n"
    "  notify build \"level one is ready\" 1\n"
    "  wait-request build\n"
    "  respond build ok < build.log\n\n";

} // namespace

void addRunCommand(CLI::App& app, Action& action)
{
    auto options = std::make_shared<RunOptions>();
    CLI::App* const command =
        app.add_subcommand("run", "Runs a script of jobs against a hub or program.");
    command->add_option("FILE", options->path, "The script, - for stdin")->required();
    command->add_option("--name", options->name, "The name to present itself with")
        ->required()
        ->check(whyNoName);
    command
        ->add_option_function<std::string>(
            "--connect",
            [options](const std::string& text) { options->address = parseAddress(text); },
            "HOST:PORT of the hub or program")
        ->type_name("HOST:PORT")
        ->required();
    command
        ->add_option_function<std::string>(
            "--timeout",
            [options](const std::string& text) { options->timeout = parseDuration(text); },
            "Gives up when the whole run takes longer")
        ->type_name("TIME")
        ->default_str("none");
    command->footer(std::string(kRunHelp) + kExitCodeHelp);
    command->callback([options, &action] { action = [options] { return run(*options); }; });
}

} // namespace tool
