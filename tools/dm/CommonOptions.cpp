#include "tools/dm/CommonOptions.h"

#include "tools/dm/Files.h"
#include "tools/dm/Text.h"

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

namespace tool {

void addAddress(CLI::App& command, SessionOptions& options)
{
    command
        .add_option_function<std::string>(
            "ADDRESS",
            [&options](const std::string& text) { options.address = parseAddress(text); },
            "HOST:PORT of the program")
        ->required();
}

void addTimeoutOption(CLI::App& command, SessionOptions& options)
{
    command
        .add_option_function<std::string>(
            "--timeout",
            [&options](const std::string& text) { options.timeout = parseDuration(text); },
            "Gives up when nothing happened for so long: no connection\n"
            "and no byte moving")
        ->type_name("TIME")
        ->default_str("5s");
}

void addSessionOptions(CLI::App& command, SessionOptions& options)
{
    addAddress(command, options);
    command.add_option("PIPE", options.pipeName, "The pipe's name")
        ->required()
        ->check(whyNoPipeName);
    addTimeoutOption(command, options);
}

void addHubOptions(CLI::App& command, SessionOptions& options, const char* memberHelp)
{
    CLI::Option* const hub = command.add_flag(
        "--hub", options.isHub, "ADDRESS is a hub's: joins it as a member for as long as it takes");
    command
        .add_option_function<std::uint32_t>(
            "--member", [&options](const std::uint32_t& number) { options.member = number; },
            memberHelp)
        ->needs(hub);
}

std::string whyNoName(const std::string& name)
{
    return name.empty() ? "the name is empty: give it at least a letter" : "";
}

void addFormatOption(CLI::App& command, Format& format)
{
    command
        .add_option_function<std::string>(
            "--format",
            [&format](const std::string& name) {
                format = name == "json" ? Format::Json : Format::Text;
            },
            "How results are printed")
        ->check(CLI::IsMember({"text", "json"}))
        ->default_str("text");
}

void addProgressOption(CLI::App& command, ProgressMeter::Mode& mode)
{
    command
        .add_option_function<std::string>(
            "--progress",
            [&mode](const std::string& name) {
                using Mode = ProgressMeter::Mode;
                mode = name == "always"  ? Mode::Always
                       : name == "never" ? Mode::Never
                                         : Mode::Automatic;
            },
            "On a terminal for what takes over a second, from the first byte on, or never")
        ->check(CLI::IsMember({"auto", "always", "never"}))
        ->default_str("auto");
}

std::string toJsonLine(const nlohmann::ordered_json& object)
{
    const std::string json =
        object.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
    std::string line;
    line.reserve(json.size() + 1);
    for (size_t at = 0; at < json.size(); ++at) {
        // JSON itself asks for those below U+0020 alone. The others stand in texts only.
        const bool isLong = isUtf8Control(json, at);
        if (!isLong && json[at] != 0x7F) {
            line += json[at];
            continue;
        }
        constexpr char kDigits[] = "0123456789abcdef";
        const auto code = static_cast<unsigned char>(json[isLong ? ++at : at]);
        line.append("\\u00").append(1, kDigits[code >> 4]).append(1, kDigits[code & 15]);
    }
    return line += '\n';
}

void printJsonLine(const nlohmann::ordered_json& object)
{
    const std::string line = toJsonLine(object);
    writeOutput(line.data(), line.size());
}

} // namespace tool
