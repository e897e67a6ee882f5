#include "bench/contenders/FileServer.h"
#include "bench/rows/Rows.h"
#include "bench/support/TestFiles.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <stdexcept>

namespace bench {
namespace {

constexpr unsigned kGames = 4;
constexpr std::chrono::milliseconds kConnectLimit{15'000};
constexpr std::chrono::milliseconds kReadLimit{60'000};

/// Other processes, since a process can be one game only.
std::vector<std::unique_ptr<ChildProcess>> startGames(uint16_t port)
{
    std::vector<std::unique_ptr<ChildProcess>> games;
    for (unsigned i = 0; i < kGames; ++i)
        games.push_back(std::make_unique<ChildProcess>(
            std::vector<std::string>{ownPath(), "--play", std::to_string(port)}));
    for (const auto& game : games)
        if (!game->readLine(kConnectLimit))
            throw std::runtime_error("a game could not connect");
    return games;
}

/// Waits for a game's reading and notes the server's memory meanwhile.
void awaitReading(ChildProcess& game, const FileServer& server, double& anonymous)
{
    constexpr std::chrono::milliseconds kStep{5};
    for (std::chrono::milliseconds waited{0}; waited < kReadLimit; waited += kStep) {
        const auto line = game.readLine(kStep);
        anonymous = std::max(anonymous, server.memory().anonymous);
        if (!line)
            continue;
        if (std::strtoull(line->c_str(), nullptr, 10) != TestFiles::kLargeFileBytes)
            throw std::runtime_error("a game read " + *line + " bytes");
        return;
    }
    throw std::runtime_error("a game did not read all");
}

double peakMemory(const Settings&)
{
    TestFiles::get().large();
    const FileServer server;
    const auto games = startGames(server.port());
    const ChildProcess::Memory before = server.memory();
    for (const auto& game : games)
        game->writeLine();
    double anonymous = before.anonymous;
    for (const auto& game : games)
        awaitReading(*game, server, anonymous);
    const double peak = server.memory().peak;
    std::fprintf(stderr,
                 "  dm-files: MiB resident %.1f, before the reads %.1f; anonymous %.1f, %.1f\n",
                 peak, before.peak, anonymous, before.anonymous);
    return peak;
}

} // namespace

Row fileServerMemoryRow()
{
    Row row;
    row.name = "filememory";
    row.title = "peak memory of a file server of which 4 games read 1 GiB each, at once";
    row.unit = "MiB";
    row.better = Better::Lower;
    row.contenders = {{"dm-files", peakMemory}};
    row.thresholds = {{"", 64}};
    row.decimals = 1;
    return row;
}

} // namespace bench
