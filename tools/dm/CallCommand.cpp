#include "tools/dm/AnswerBuffer.h"
#include "tools/dm/ClientSession.h"
#include "tools/dm/Commands.h"
#include "tools/dm/CommonOptions.h"
#include "tools/dm/Files.h"
#include "tools/dm/Text.h"

#include <dm/jobs.h>
#include <zul/Memory.h>
#include <zul/Terminal.h>

#include <CLI/CLI.hpp>
#include <cstdint>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>

namespace tool {

namespace {

struct CallOptions
{
    SessionOptions session;
    std::string text;
    std::uint32_t value = 0;
    std::string dataPath;
    std::string outPath;
    Format format = Format::Text;
};

struct Answer
{
    std::string text;
    std::uint32_t size = 0;
    zu::ZeroedBuffer data; // its first `size` bytes; empty when nobody wants them
    double seconds = 0;
    std::uint32_t connections = 0;
};

// More belongs into a file: the text is a third longer and has to be held in memory twice.
constexpr std::uint32_t kMaxInlineBytes = 1024 * 1024;

void check(const CallOptions& options)
{
    if (options.text.empty())
        throw ToolError(ExitCode::Usage,
                        "TEXT is empty: the other end could not tell it from none");
    if (options.text.size() > dm::CommunicationPipe::kMaxTextBytes)
        throw ToolError(ExitCode::Usage, "TEXT is longer than 256 KiB: send it with --data");
    if (options.session.isHub && !options.session.member)
        throw ToolError(ExitCode::Usage, "a request goes to one member of the hub: say which with "
                                         "--member N, as in --hub --member 0");
    if (options.session.isHub && !options.dataPath.empty())
        throw ToolError(ExitCode::Usage,
                        "a hub does not forward a request's data: leave --data out with --hub");
    if (options.format == Format::Json && options.outPath == "-")
        throw ToolError(ExitCode::Usage,
                        "--format json and --out - both write to standard output: choose a file");
}

Answer ask(const CallOptions& options, const std::vector<char>& data)
{
    Answer answer;
    if (!options.outPath.empty())
        answer.data = allocateForAnyAnswer();
    else if (options.format == Format::Json)
        answer.data = zu::ZeroedBuffer::tryAllocate(kMaxInlineBytes);

    ClientSession session(options.session);
    const auto start = std::chrono::steady_clock::now();
    session.run([&](dm::CommunicationPipe& pipe) {
        answer.text = toStdString(pipe.sendRequest(
            options.text.c_str(), options.session.member.value_or(options.value),
            answer.data.data(), static_cast<std::uint32_t>(answer.data.size()), &answer.size,
            data.empty() ? nullptr : data.data(), static_cast<std::uint32_t>(data.size())));
    });
    answer.seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    answer.connections = session.status().connections;
    return answer;
}

void checkFits(const CallOptions& options, const Answer& answer)
{
    if (!options.outPath.empty())
        requireFits(answer.size, answer.data, options.outPath);
    else if (options.format == Format::Json && answer.size > answer.data.size())
        throw ToolError(ExitCode::File, "the answer's " + describeSize(answer.size) +
                                            " are too much for JSON: use --out FILE");
}

// What a hub cannot tell apart, and does not tell, the person should know.
void warnAboutHubAnswer(const SessionOptions& session, const Answer& answer)
{
    if (!session.isHub)
        return;
    if (answer.size == dm::BroadcastServer::kMaxAnswerBytes)
        std::fprintf(stderr, "dm: the answer's data may be cut: a hub hands on 64 KiB of it\n");
    if (answer.text.empty() && answer.size == 0)
        std::fprintf(stderr,
                     "dm: the answer is empty: so member %u answered, or it has left or was never "
                     "there\n",
                     *session.member);
}

void printJson(const CallOptions& options, const Answer& answer)
{
    nlohmann::ordered_json object;
    object["text"] = answer.text;
    object["size"] = answer.size;
    if (options.outPath.empty())
        object["data"] = toBase64(answer.data.data(), answer.size);
    else
        object["out"] = options.outPath;
    object["seconds"] = answer.seconds;
    object["connections"] = answer.connections;
    printJsonLine(object);
}

void printText(const CallOptions& options, const Answer& answer)
{
    // With the data on standard output the text must not mingle with it.
    if (options.outPath == "-") {
        std::fprintf(stderr, "dm: answer: %s\n", escapeControls(answer.text).c_str());
        return;
    }
    const bool isSeen = zu::isTerminal(zu::StandardStream::Output);
    const std::string line = (isSeen ? escapeForTerminal(answer.text) : answer.text) + "\n";
    writeOutput(line.data(), line.size());
    if (options.outPath.empty() && answer.size != 0)
        std::fprintf(stderr, "dm: the answer has %u bytes of data too: see them with --out\n",
                     answer.size);
}

ExitCode call(const CallOptions& options)
{
    check(options);
    const std::vector<char> data =
        options.dataPath.empty() ? std::vector<char>() : readWhole(options.dataPath);
    // Before asking: a request may change things at the other end, and must not be made in vain.
    std::optional<OutputFile> out;
    if (!options.outPath.empty())
        out.emplace(options.outPath);

    const Answer answer = ask(options, data);
    checkFits(options, answer);
    if (out) {
        out->write(answer.data.data(), answer.size);
        out->commit();
    }
    warnAboutHubAnswer(options.session, answer);
    if (options.format == Format::Json)
        printJson(options, answer);
    else
        printText(options, answer);
    return ExitCode::Ok;
}

} // namespace

void addCallCommand(CLI::App& app, Action& action)
{
    auto options = std::make_shared<CallOptions>();
    CLI::App* const command =
        app.add_subcommand("call", "Sends a request and prints the answer's text.");
    addSessionOptions(*command, options->session);
    command->add_option("TEXT", options->text, "The request's text")->required();
    CLI::Option* const value =
        command->add_option("--value", options->value, "A number handed over with the text");
    addHubOptions(*command, options->session, "The member that the hub hands the request to");
    command->get_option("--member")->excludes(value);
    command->add_option("--data", options->dataPath, "Sends the bytes of this file, - for stdin")
        ->type_name("FILE");
    command
        ->add_option("--out", options->outPath,
                     "Writes the answer's data to this file, - for stdout")
        ->type_name("FILE");
    addFormatOption(*command, options->format);
    addProgressOption(*command, options->session.progress);
    command->footer(
        "The answer's data is shown by --out only, and in JSON up to 1 MiB as base64.\n"
        "The file is written whole or not at all.\n\n"
        "A hub hands on the request's text, but no data with it, and at most 64 KiB of\n"
        "the answer's data. It answers \"\" for a member that is not there.\n\n"
        "Examples:\n"
        "  dm call 127.0.0.1:3500 assets \"read hero.mesh\" --out hero.mesh\n"
        "  dm call 127.0.0.1:5000 assets \"which level?\" --hub --member 0\n\n" +
        std::string(kExitCodeHelp));
    command->callback([options, &action] { action = [options] { return call(*options); }; });
}

} // namespace tool
