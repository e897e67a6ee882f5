/// dm_bench: measures the pipes and the file server beside their limits and peers. See README.md
/// here.
#include "bench/Measure.h"
#include "bench/Report.h"
#include "bench/contenders/FileServer.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <thread>

namespace {

struct Options
{
    bench::Settings settings;
    std::vector<std::string> rows;
    bool list = false;
    bool pinned = false;
    std::string format = "text";

    // How the program calls itself.
    std::string serve;
    std::string ask;
    unsigned count = 1;
    uint16_t playPort = 0;
    bench::Setup setup;
};

void declare(CLI::App& app, Options& options)
{
    app.add_option("--row", options.rows, "Rows to measure, all by default");
    app.add_flag("--list", options.list, "List the rows and their contenders");
    app.add_option("--rounds", options.settings.rounds, "Rounds of each row")
        ->capture_default_str();
    app.add_option("--seconds", options.settings.seconds, "Measuring time, a contender and round")
        ->capture_default_str();
    app.add_option("--pipes", options.settings.pipes, "Pipes that the 16 threads share")
        ->capture_default_str()
        ->check(CLI::Range(1, 64));
    app.add_flag("--pin", options.pinned, "Keep each process to a core of its own");
    app.add_option("--only", options.settings.only, "Contenders to run, all by default");
    app.add_option("--format", options.format, "text or json")
        ->check(CLI::IsMember({"text", "json"}));

    const std::string internal; // an empty group is left out of the help
    app.add_option("--serve", options.serve)->group(internal);
    app.add_option("--ask", options.ask)->group(internal);
    app.add_option("--count", options.count)->group(internal);
    app.add_option("--answer-bytes", options.setup.answerBytes)->group(internal);
    app.add_option("--hub-port", options.setup.hubPort)->group(internal);
    app.add_option("--file", options.setup.file)->group(internal);
    app.add_option("--play", options.playPort)->group(internal);
    app.add_option("--yield-us", options.setup.yieldMicroseconds)->group(internal);
}

int serve(const Options& options)
{
    bench::Setup setup = options.setup;
    setup.pipes = options.settings.pipes;
    const bench::Serve server = bench::findServer(options.serve);
    if (server == nullptr)
        return 2;
    bench::exitWithStarter();
    server(setup);
    return 0;
}

int ask(const Options& options)
{
    for (const auto& contender :
         {bench::dmRequests(), bench::hopLimit(), bench::rawTcp(), bench::zeroMqRequests()})
        if (contender.name == options.ask) {
            bench::askTimes(contender, options.setup, options.count);
            return 0;
        }
    return 2;
}

int list()
{
    for (const bench::Row& row : bench::allRows()) {
        std::printf("%-16s %s\n                ", row.name.c_str(), row.title.c_str());
        for (const bench::Contender& contender : row.contenders)
            std::printf(" %s", contender.name.c_str());
        std::printf("\n");
    }
    return 0;
}

/// Ends the program when a measurement hangs, rather than the patience of whoever started it.
class Watchdog
{
public:
    explicit Watchdog(const bench::Row& row, const bench::Settings& settings)
    {
        const double each = std::max(settings.seconds, 5.0) + 45;
        const double all = each * settings.rounds * static_cast<double>(row.contenders.size());
        thread = std::jthread([this, name = row.name, all](const std::stop_token& stop) {
            std::unique_lock lock(mutex);
            if (wake.wait_for(lock, stop, std::chrono::duration<double>(all),
                              [&] { return stop.stop_requested(); }))
                return;
            std::fprintf(stderr, "dm_bench: %s has hung for %.0f s, giving up\n", name.c_str(),
                         all);
            std::_Exit(3);
        });
    }

private:
    std::mutex mutex;
    std::condition_variable_any wake;
    std::jthread thread;
};

int measure(const Options& options)
{
    const std::vector<bench::Row> rows = bench::allRows();
    for (const std::string& name : options.rows)
        if (std::ranges::find(rows, name, &bench::Row::name) == rows.end()) {
            std::fprintf(stderr, "dm_bench: no row %s, see --list\n", name.c_str());
            return 2;
        }
    if (options.pinned)
        bench::pinProcesses();
    std::vector<bench::RowResult> results;
    for (const bench::Row& row : rows) {
        if (!options.rows.empty() &&
            std::ranges::find(options.rows, row.name) == options.rows.end())
            continue;
        const Watchdog watchdog(row, options.settings);
        results.push_back(bench::runRow(row, options.settings));
        if (options.format == "text")
            bench::printText(results.back());
    }
    if (options.format == "json")
        std::printf("%s\n", bench::toJson(results).c_str());
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    CLI::App app("Measures the pipes and the file server beside their limits and peers");
    Options options;
    declare(app, options);
    CLI11_PARSE(app, argc, argv);
    if (!options.serve.empty())
        return serve(options);
    if (!options.ask.empty())
        return ask(options);
    if (options.playPort != 0) {
        bench::playGame(options.playPort);
        return 0;
    }
    return options.list ? list() : measure(options);
}
