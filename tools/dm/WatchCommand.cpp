/// The command line of `dm watch`; Watch.cpp does what it asks for.
#include "tools/dm/Color.h"
#include "tools/dm/Commands.h"
#include "tools/dm/CommonOptions.h"
#include "tools/dm/Watch.h"
#include "tools/monitor/MonitorClient.h"

#include <dm/monitor.h>
#include <zul/Terminal.h>

#include <CLI/CLI.hpp>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace tool {

namespace {

// The words that options take before they are understood.
struct WatchWords
{
    std::string address;
    std::string web;
    std::vector<std::string> patterns;
    std::vector<std::string> excluded;
    std::vector<int> channels;
};

void takeWeb(WatchWords& words, WatchOptions& options)
{
    // --web HOST:PORT is --web without a port, and the address.
    const bool isAddress =
        !words.web.empty() && !findPort(words.web) && words.address.empty() && !options.isReplay();
    if (isAddress)
        words.address = std::exchange(words.web, "");
    options.webPort = words.web.empty() ? 0 : parsePort(words.web);
}

void takeFilter(const WatchWords& words, monitor::LineFilter& filter)
{
    try {
        for (const int channel : words.channels)
            filter.addChannel(channel);
        for (const std::string& pattern : words.patterns)
            filter.addPattern(pattern);
        for (const std::string& pattern : words.excluded)
            filter.addExcluded(pattern);
    } catch (const std::invalid_argument& error) {
        throw ToolError(ExitCode::Usage, error.what());
    }
}

void checkCommands(const WatchOptions& options)
{
    using Client = monitor::MonitorClient;
    if (options.requests.size() + options.data.size() > Client::kMaxWaitingCommands)
        throw ToolError(ExitCode::Usage, "no more than " +
                                             std::to_string(Client::kMaxWaitingCommands) +
                                             " of --request and --send together");
    for (const std::string& data : options.data)
        if (data.size() > Client::kMaxDataBytes)
            throw ToolError(ExitCode::Usage, "--send takes at most " +
                                                 std::to_string(Client::kMaxDataBytes) + " bytes");
}

// The trace would take the place of what it is made of.
void checkFiles(const WatchOptions& options)
{
    const auto place = [](const std::string& path) {
        std::error_code error;
        return std::filesystem::weakly_canonical(std::filesystem::absolute(path, error), error);
    };
    for (const std::string& other : {options.recordPath, options.replayPath})
        if (!other.empty() && !options.profilePath.empty() &&
            place(options.profilePath) == place(other))
            throw ToolError(ExitCode::Usage, "--profile needs a file of its own");
}

void takeWords(WatchWords& words, bool hasWeb, WatchOptions& options)
{
    if (hasWeb)
        takeWeb(words, options);
    if (words.address.empty() != options.isReplay())
        throw ToolError(ExitCode::Usage, options.isReplay()
                                             ? "a recording has no ADDRESS: give one of them"
                                             : "ADDRESS is missing: HOST:PORT of the game, or "
                                               "--replay and a recording");
    if (!options.isReplay())
        options.address = parseAddress(words.address);
    checkCommands(options);
    checkFiles(options);
    takeFilter(words, options.view.filter);
    // The page has them, and so much may come that a terminal is no help.
    options.view.showsLines = !options.webPort;
    options.view.isRedrawn = options.view.showsValues && options.view.format == Format::Text &&
                             zu::isTerminal(zu::StandardStream::Output);
    options.view.isColored =
        options.view.format == Format::Text && hasColors(zu::StandardStream::Output);
}

// Standard streams are taken by the lines that are shown.
std::string checkFileName(const std::string& name)
{
    return name.empty() || name == "-" ? "give the name of a file" : "";
}

constexpr const char* kWatchHelp =
    "A line is the seconds since this began, the channel in brackets, and the text. JSON is an\n"
    "object a line: event, time, unixTime and, by event,\n"
    "  text: channel, text            value: group, groupName, name, value\n"
    "  profile: bytes                 lostLines: lines\n"
    "  connected: address             lost, unreachable, notAMonitor: reason\n"
    "or page with its url alone. Control characters and bytes that are no UTF-8 are spelled out,\n"
    "the latter in JSON as U+FFFD. What the game sends faster than this can take it, or this\n"
    "prints faster than it is read, is left out: \"N lines were lost\" stands in its place.\n\n"
    "Examples:\n"
    "  dm watch 127.0.0.1:3600\n"
    "  dm watch 127.0.0.1:3600 --channel 2 --grep 'error|warning' --stats\n"
    "  dm watch 127.0.0.1:3600 --web --record today.dmrec\n"
    "  dm watch --replay today.dmrec --format json\n"
    "  dm watch 127.0.0.1:3600 --request 0 --duration 2s --profile trace.json\n"
    "                                    where request 0 has the game send a profile\n\n"
    "Ends with 0 when interrupted or its duration is over, if it ever was connected, and at a\n"
    "recording's end; with 3 if it never was, or to something that is no debug monitor; with 4 if\n"
    "the connection was lost before --request and --send went out; with 7 also if a recording is\n"
    "damaged or nobody reads what is still to be printed; with 8 if --profile was given and none\n"
    "came; with 130 if interrupted before it was connected. When its reader goes away it ends by\n"
    "SIGPIPE, but with --profile writes the trace and ends with 7.\n\n";

void addShownOptions(CLI::App& command, WatchOptions& options, WatchWords& words)
{
    CLI::Option_group* const group = command.add_option_group("Shown");
    group
        ->add_option("--channel", words.channels,
                     "Only text of this channel; more than once\n"
                     "for several")
        ->allow_extra_args(false);
    group
        ->add_option("--grep", words.patterns,
                     "Only text that this regular expression is found in; more than\n"
                     "once for either")
        ->allow_extra_args(false);
    group
        ->add_option("--exclude", words.excluded,
                     "No text that this regular expression is found in")
        ->allow_extra_args(false);
    group->add_flag("--stats", options.view.showsValues,
                    "Values that the game updates in place, too: on a terminal a\n"
                    "table below the text, else a line for each change");
    addFormatOption(*group, options.view.format);
    group
        ->add_option("--web", words.web,
                     "Shows all in a page for a browser on this machine,\n"
                     "and no text here; on any free port unless given")
        ->type_name("[PORT]")
        ->expected(0, 1);
}

void addKeptOptions(CLI::App& command, WatchOptions& options, CLI::Option* replay)
{
    CLI::Option_group* const group = command.add_option_group("Kept");
    group
        ->add_option("--record", options.recordPath,
                     "Appends all that comes to this file, whatever is shown; it can be\n"
                     "read also when this was killed")
        ->type_name("FILE")
        ->check(checkFileName)
        ->excludes(replay);
    group
        ->add_option("--profile", options.profilePath,
                     "Writes the profiles that came to this file, at the end, as Chrome\n"
                     "trace-event JSON, for ui.perfetto.dev or chrome://tracing")
        ->type_name("FILE")
        ->check(checkFileName);
}

void addSentOptions(CLI::App& command, WatchOptions& options, CLI::Option* replay)
{
    CLI::Option_group* const group = command.add_option_group("Sent, once connected");
    group->add_option("--request", options.requests, "A request: what it means is up to the game")
        ->check(CLI::Range(0, dm::kMonitorRequests - 1))
        ->allow_extra_args(false)
        ->excludes(replay);
    group->add_option("--send", options.data, "Data for the game's parser, after the requests")
        ->allow_extra_args(false)
        ->excludes(replay);
}

} // namespace

void addWatchCommand(CLI::App& app, Action& action)
{
    auto options = std::make_shared<WatchOptions>();
    auto words = std::make_shared<WatchWords>();
    CLI::App* const command = app.add_subcommand(
        "watch", "Watches a running game: its text, values and profiles, here or in a browser.");
    command->add_option("ADDRESS", words->address,
                        "HOST:PORT of the game's debug monitor; waits for it when it is\n"
                        "not there, also later");
    CLI::Option* const replay = command
                                    ->add_option("--replay", options->replayPath,
                                                 "Shows a recording instead, as fast as it can be "
                                                 "read")
                                    ->type_name("FILE")
                                    ->check(checkFileName);
    command
        ->add_option_function<std::string>(
            "--duration",
            [options](const std::string& text) { options->duration = parseDuration(text); },
            "Ends after so long, as 250ms, 5s or 2m; else when interrupted")
        ->type_name("TIME");
    addShownOptions(*command, *options, *words);
    addKeptOptions(*command, *options, replay);
    addSentOptions(*command, *options, replay);
    command->footer(std::string(kWatchHelp) + kExitCodeHelp);
    command->callback([options, words, command, &action] {
        takeWords(*words, command->count("--web") > 0, *options);
        action = [options] { return watch(*options); };
    });
}

} // namespace tool
