/// What a file server tells: who comes and goes, what is asked for, what is wrong.
///
/// For people, what happens goes to standard output and all else to standard error; as JSON all is
/// on standard output, an object a line. Whatever games call themselves and ask for: a line stays
/// a line.
///
/// Threads: any; nothing waits for whoever reads the lines.
#pragma once

#include "tools/dm/Arguments.h"
#include "tools/dm/LineWriter.h"
#include "tools/fileserver/CommandRunner.h"
#include "tools/fileserver/ServeStatistics.h"

#include <chrono>
#include <string>
#include <vector>

namespace fileserver {

/// A game as the log names it.
struct GameName
{
    unsigned number = 0;
    std::string name; ///< what it calls itself
    std::string address;
};

struct GameTotals
{
    GameName game;
    ServeTotals totals;
};

/// How a server stands.
struct ServeSummary
{
    std::chrono::milliseconds age{0};
    ServeTotals totals;
    std::vector<GameTotals> games; ///< that are there
};

class ServeLog
{
public:
    struct Options
    {
        tool::Format format = tool::Format::Text;
        bool tellsCommands = false;
    };

    ServeLog(const Options& logOptions, tool::LineWriter& outputLines,
             tool::LineWriter& errorLines);
    ServeLog(const ServeLog&) = delete;
    ServeLog& operator=(const ServeLog&) = delete;

    bool tellsCommands() const { return options.tellsCommands; }

    void listening(int port);
    void mapped(const FolderMap& map);

    void came(const GameName& game);
    void left(const GameName& game, const ServeTotals& totals);

    /// Only to be called when commands are told.
    ///
    ///   sent   whether the answer went out whole.
    void command(const GameName& game, std::string_view line, const CommandReport& report,
                 bool sent, std::chrono::microseconds duration);

    /// The game may be null: of the server itself.
    void warn(const GameName* game, const std::string& text);

    void statistics(const ServeSummary& summary);

private:
    void event(std::string line) { output.write(line + endOfEvent); }
    void tellPeople(const std::string& line) { errors.write("dm: " + line + endOfNotice); }

    const Options options;
    tool::LineWriter& output;
    tool::LineWriter& errors;
    // On a terminal with a status line, what is longer of that is wiped off.
    const char* const endOfEvent;
    const char* const endOfNotice;
};

} // namespace fileserver
