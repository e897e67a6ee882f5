#include "tools/fileserver/ServeLog.h"

#include "tools/dm/CommonOptions.h"
#include "tools/dm/Listening.h"
#include "tools/dm/ProgressMeter.h"
#include "tools/dm/Text.h"

#include <zul/Terminal.h>

#include <array>
#include <cstdio>
#include <nlohmann/json.hpp>

namespace fileserver {

namespace {

using Json = nlohmann::ordered_json;
using tool::describeSize;
using tool::escapeControls;
using tool::Format;

// What a game sends may be as long as it likes, a line here may not.
constexpr std::size_t kMaxShownBytes = 1000;

constexpr const char* kLineEnd = "\n";
constexpr const char* kWipeAndLineEnd = "\x1b[K\n";

std::string shorten(std::string_view text)
{
    if (text.size() <= kMaxShownBytes)
        return std::string(text);
    return std::string(text.substr(0, kMaxShownBytes)) + "...";
}

/// game 3 "racer"
std::string describe(const GameName& game)
{
    return "game " + std::to_string(game.number) + " \"" + escapeControls(shorten(game.name)) + '"';
}

std::string describeMilliseconds(std::chrono::microseconds duration)
{
    std::array<char, 32> text;
    std::snprintf(text.data(), text.size(), "%.3f ms",
                  static_cast<double>(duration.count()) / 1000);
    return text.data();
}

std::string plural(zu::u64 count, const char* thing)
{
    return std::to_string(count) + " " + thing + (count == 1 ? "" : "s");
}

/// 1203 commands, 20 files read (4.5 MB), 1 file written (12.0 kB), 0 warnings
std::string describe(const ServeTotals& totals)
{
    return plural(totals.commands, "command") + ", " + plural(totals.filesRead, "file") +
           " read (" + describeSize(static_cast<double>(totals.bytesRead)) + "), " +
           plural(totals.filesWritten, "file") + " written (" +
           describeSize(static_cast<double>(totals.bytesWritten)) + "), " +
           plural(totals.warnings, "warning");
}

std::string describeResult(const CommandReport& report)
{
    if (!report.succeeded)
        return report.reason.empty() ? "no" : "no, " + escapeControls(shorten(report.reason));
    switch (report.command->answer) {
    case AnswerKind::Data:
    case AnswerKind::Written:
        return plural(report.bytes, "byte");
    case AnswerKind::List:
        return report.entries == 1 ? "1 entry" : std::to_string(report.entries) + " entries";
    default:
        return "yes";
    }
}

Json eventOf(const char* kind, const GameName& game)
{
    Json object;
    object["event"] = kind;
    object["game"] = game.number;
    object["name"] = shorten(game.name);
    object["address"] = game.address;
    return object;
}

void append(Json& object, const ServeTotals& totals)
{
    object["commands"] = totals.commands;
    object["filesRead"] = totals.filesRead;
    object["bytesRead"] = totals.bytesRead;
    object["filesWritten"] = totals.filesWritten;
    object["bytesWritten"] = totals.bytesWritten;
    object["warnings"] = totals.warnings;
}

/// The command and what it is about.
void append(Json& object, std::string_view line, const CommandReport& report)
{
    if (report.command == nullptr) {
        object["text"] = shorten(line);
        return;
    }
    const ParsedCommand& arguments = report.arguments;
    object["command"] = report.command->name;
    object["path"] = shorten(arguments.path);
    switch (report.command->arguments) {
    case Arguments::TwoPaths:
        object["to"] = shorten(arguments.secondPath);
        break;
    case Arguments::RangeAndPath:
        object["position"] = arguments.position;
        object["count"] = arguments.count;
        object["bytes"] = report.bytes;
        break;
    case Arguments::Search:
        object["filter"] = shorten(arguments.filter);
        object["recursive"] = arguments.isRecursive;
        break;
    default:
        break;
    }
    if (report.command->answer == AnswerKind::List)
        object["entries"] = report.entries;
}

} // namespace

ServeLog::ServeLog(const Options& logOptions, tool::LineWriter& outputLines,
                   tool::LineWriter& errorLines)
    : options(logOptions)
    , output(outputLines)
    , errors(errorLines)
    , endOfEvent(zu::isTerminal(zu::StandardStream::Output) ? kWipeAndLineEnd : kLineEnd)
    , endOfNotice(zu::isTerminal(zu::StandardStream::Error) ? kWipeAndLineEnd : kLineEnd)
{
}

void ServeLog::listening(int port)
{
    (options.format == Format::Json ? output : errors)
        .write(tool::describeListening(options.format, port));
}

void ServeLog::mapped(const FolderMap& map)
{
    if (options.format == Format::Json)
        output.write(tool::toJsonLine({{"event", "map"},
                                       {"name", map.getName()},
                                       {"folder", map.getHostPath()},
                                       {"writable", map.isWritable()}}));
    else
        tellPeople("\"" + escapeControls(map.getName()) + "\" is " +
                   escapeControls(map.getHostPath()) +
                   (map.isWritable() ? ", games may write there" : ", read-only"));
}

void ServeLog::came(const GameName& game)
{
    if (options.format == Format::Json)
        output.write(tool::toJsonLine(eventOf("came", game)));
    else
        event(describe(game) + " came from " + escapeControls(game.address));
}

void ServeLog::left(const GameName& game, const ServeTotals& totals)
{
    if (options.format == Format::Json) {
        Json object = eventOf("left", game);
        append(object, totals);
        output.write(tool::toJsonLine(object));
    } else {
        event(describe(game) + " left: " + describe(totals));
    }
}

void ServeLog::command(const GameName& game, std::string_view line, const CommandReport& report,
                       bool sent, std::chrono::microseconds duration)
{
    if (options.format == Format::Json) {
        Json object;
        object["event"] = "command";
        object["game"] = game.number;
        append(object, line, report);
        object["succeeded"] = report.succeeded;
        if (!report.reason.empty())
            object["reason"] = shorten(report.reason);
        object["sent"] = sent;
        object["milliseconds"] = static_cast<double>(duration.count()) / 1000;
        output.write(tool::toJsonLine(object));
        return;
    }
    event("game " + std::to_string(game.number) + " " + escapeControls(shorten(line)) + ": " +
          describeResult(report) + (sent ? "" : ", not sent") + ", " +
          describeMilliseconds(duration));
}

void ServeLog::warn(const GameName* game, const std::string& text)
{
    if (options.format == Format::Json) {
        Json object;
        object["event"] = "warning";
        if (game != nullptr)
            object["game"] = game->number;
        object["text"] = shorten(text);
        output.write(tool::toJsonLine(object));
        return;
    }
    const std::string who =
        game != nullptr ? "game " + std::to_string(game->number) + ": " : std::string();
    tellPeople(who + escapeControls(shorten(text)));
}

void ServeLog::statistics(const ServeSummary& summary)
{
    const double seconds = static_cast<double>(summary.age.count()) / 1000;
    if (options.format == Format::Json) {
        Json object;
        object["event"] = "statistics";
        object["seconds"] = seconds;
        object["gamesSoFar"] = summary.totals.games;
        append(object, summary.totals);
        object["games"] = Json::array();
        for (const GameTotals& entry : summary.games) {
            Json game;
            game["game"] = entry.game.number;
            game["name"] = shorten(entry.game.name);
            game["address"] = entry.game.address;
            append(game, entry.totals);
            object["games"].push_back(std::move(game));
        }
        output.write(tool::toJsonLine(object));
        return;
    }
    tellPeople(std::to_string(static_cast<zu::u64>(seconds)) + " s, " +
               plural(summary.totals.games, "game") + ", " + describe(summary.totals));
    for (const GameTotals& entry : summary.games)
        tellPeople(describe(entry.game) + " from " + escapeControls(entry.game.address) + ": " +
                   describe(entry.totals));
}

} // namespace fileserver
