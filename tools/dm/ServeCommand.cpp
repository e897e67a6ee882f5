#include "tools/dm/Commands.h"
#include "tools/dm/CommonOptions.h"
#include "tools/dm/Listening.h"
#include "tools/fileserver/FileServer.h"
#include "tools/fileserver/StatusLine.h"

#include <zul/Interrupt.h>
#include <zul/Listener.h>
#include <zul/String.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdlib>
#include <memory>

namespace tool {

namespace {

using fileserver::FileServer;

struct ServeOptions
{
    std::vector<std::string> maps;
    std::string listenAddress; // empty: the usual one
    FileServer::Options server{3510};
    fileserver::ServeLog::Options log;
    fileserver::RunnerOptions runner;
    bool followsLinks = false;
    bool wantsPortableNames = false;
    bool ignoresCase = false;
};

zu::ConfinedFolder::Options toFolderOptions(const ServeOptions& options)
{
    using Folder = zu::ConfinedFolder;
    Folder::Options folder;
    if (options.followsLinks)
        folder.links = Folder::Links::FollowBeneath;
    if (options.wantsPortableNames)
        folder.names = Folder::Names::Portable;
    if (options.ignoresCase)
        folder.letterCase = Folder::LetterCase::Ignore;
    return folder;
}

void addMaps(const std::vector<std::string>& texts, fileserver::FolderMaps& maps)
{
    for (const std::string& text : texts) {
        fileserver::MapSpec mapping;
        std::string error;
        if (!fileserver::parseMap(text, mapping, error))
            throw ToolError(ExitCode::Usage, "--map " + text + ": " + error);
        const bool isTaken = std::ranges::any_of(maps.getAll(), [&](const auto& map) {
            return zu::stricmp(map->getName().c_str(), mapping.name.c_str()) == 0;
        });
        if (!maps.add(mapping, error))
            throw ToolError(isTaken ? ExitCode::Usage : ExitCode::File,
                            "--map " + text + ": " + error);
    }
}

void requireServing(const ServeOptions& options)
{
    const dm::ConnectionStatus status = dm::getConnectionStatus(FileServer::kManagerName);
    if (options.listenAddress.empty())
        requireListening(FileServer::kManagerName, options.server.port);
    else if (status.state != dm::ConnectionStatus::Connected)
        throw ToolError(ExitCode::CannotConnect,
                        "cannot listen on " +
                            Address{options.listenAddress, options.server.port}.toString() + " (" +
                            status.lastFailure.c_str() +
                            "): give an address of this machine in numbers, or 0.0.0.0 or :: for "
                            "all, and a port that is free");
}

bool isLoopback(const std::string& address)
{
    return address.starts_with("127.") || address == "::1" || address == "localhost";
}

void warnOfNetwork(const fileserver::FolderMaps& maps, fileserver::ServeLog& log)
{
    const std::string address = net::getListenAddress().c_str();
    const bool isAny = address == "0.0.0.0" || address == "::";
    if (!isLoopback(address))
        log.warn(nullptr, std::string("not only this machine: anybody who reaches ") +
                              (isAny ? "it" : address) + " can read " +
                              (maps.areAllReadOnly() ? "" : "and write ") + "the maps");
}

/// Until it is interrupted, or standard output fails.
void serveUntilEnd(FileServer& server, fileserver::ServeStatistics& statistics,
                   fileserver::ServeLog& log, LineWriter& output, LineWriter& errors)
{
    constexpr zu::u32 kLongMs = 60 * 1000;
    zu::Interrupt& interrupt = zu::Interrupt::get();
    fileserver::StatusLine status(errors);
    const zu::u32 waitMs =
        status.isShown() ? static_cast<zu::u32>(fileserver::StatusLine::kBetweenUpdates.count())
                         : kLongMs;
    while (!output.hasFailed() && !interrupt.waitFor(waitMs)) {
        if (interrupt.takeStatusRequest())
            log.statistics(server.summarise());
        status.update(server.countGames(), statistics.getTotals(),
                      fileserver::StatusLine::Clock::now());
    }
    status.clear();
}

/// Prints what waits to be printed. Ends the process when something cannot be woken any more: a
/// reader of our output that does not read, or a worker whose disk does not answer.
void finish(LineWriter& output, LineWriter& errors, bool isStopped)
{
    const bool isPrinted = output.tryFinish();
    errors.write(isPrinted ? output.lossNotice() : LineWriter::kStuckNotice);
    const bool isTold = errors.tryFinish();
    if (!isPrinted || !isTold || !isStopped)
        std::quick_exit(static_cast<int>(isPrinted ? ExitCode::Ok : ExitCode::File));
    if (output.getFailure() != nullptr)
        std::rethrow_exception(output.getFailure());
}

ExitCode serve(const ServeOptions& options)
{
    fileserver::FolderMaps maps(toFolderOptions(options));
    addMaps(options.maps, maps);
    if (!options.listenAddress.empty())
        net::setListenAddress(options.listenAddress.c_str());
    zu::Interrupt::get().catchStatusRequests();

    LineWriter output;
    LineWriter errors(LineWriter::Stream::Error);
    fileserver::ServeLog log(options.log, output, errors);
    fileserver::ServeStatistics statistics;
    fileserver::CommandRunner runner(maps, options.runner);
    FileServer server(options.server, {runner, log, statistics});
    bool isStopped = true;
    try {
        server.start();
        requireServing(options);
        log.listening(server.getPort());
        for (const auto& map : maps.getAll())
            log.mapped(*map);
        warnOfNetwork(maps, log);
        serveUntilEnd(server, statistics, log, output, errors);
        fileserver::ServeSummary summary = server.summarise();
        isStopped = server.stop();
        summary.totals = statistics.getTotals(); // with what has ended meanwhile
        log.statistics(summary);
    } catch (...) {
        isStopped = server.stop();
        finish(output, errors, isStopped);
        throw;
    }
    finish(output, errors, isStopped);
    return ExitCode::Ok;
}

constexpr const char* kServeHelp =
    "A game connects to the port, is sent on to one of its own, and reads and writes there what\n"
    "begins with a map's name. Nothing outside the folders can be reached. Games are neither\n"
    "authenticated nor is anything encrypted: beyond loopback, open it to trusted networks only.\n"
    "Names that exist in other letter case only are not found, and the warning says so.\n\n"
    "Standard output has a line for each game that comes or leaves, and with -v each command:\n"
    "  game 1 \"racer\" came from 127.0.0.1\n"
    "  game 1 read 0 4096 \"data/a.map\": 4096 bytes, 0.052 ms\n"
    "Addresses, warnings and statistics go to standard error; on a terminal a line there tells\n"
    "how much is read and written. --format json prints all on standard output, an object a\n"
    "line, with event (listening, map, came, command, warning, statistics, left).\n"
    "SIGUSR1 prints statistics, an interrupt ends it, with statistics and exit code 0.\n\n"
    "Examples:\n"
    "  dm serve --map data=/home/me/game/data\n"
    "  dm serve --map data=data --map save=/tmp/save:rw --listen 0.0.0.0 -v\n"
    "  dm serve --map data=data --port 0 --format json\n\n";

} // namespace

void addServeCommand(CLI::App& app, Action& action)
{
    auto options = std::make_shared<ServeOptions>();
    CLI::App* const command = app.add_subcommand(
        "serve", "Serves folders of this machine to games as their remote files.");
    command
        ->add_option("--map", options->maps,
                     "NAME=DIR[:rw]: games see this folder under that name, read-only without\n"
                     ":rw. Give one for each folder")
        ->required()
        ->take_all()
        ->expected(1);
    command->add_option("--port", options->server.port, "The port to listen on, 0 for any free one")
        ->check(CLI::Range(0, 65535))
        ->capture_default_str();
    command->add_option(
        "--listen", options->listenAddress,
        "The address to listen on: a numeric one of this machine, or 0.0.0.0 or ::\n"
        "for all. Loopback without: this machine only");
    command->add_flag("-v,--verbose", options->log.tellsCommands, "Prints a line for each command");
    addFormatOption(*command, options->log.format);
    command->add_flag("--hide-paths", options->runner.hidesHostPaths,
                      "Does not tell games where the folders are on this machine");
    command->add_flag("--follow-links", options->followsLinks,
                      "Follows symbolic links that do not lead out of their map");
    command->add_flag("--portable-names", options->wantsPortableNames,
                      "Refuses names that other systems cannot store");
    command->add_flag("--ignore-case", options->ignoresCase,
                      "Finds files whose names differ in letter case only");
    command
        ->add_option("--max-games", options->server.maxGames,
                     "How many games are served at a time; others wait")
        ->check(CLI::Range(1, 128)) // each takes a few of the process's descriptors
        ->capture_default_str();
    command->footer(std::string(kServeHelp) + kExitCodeHelp);
    command->callback([options, &action] { action = [options] { return serve(*options); }; });
}

} // namespace tool
