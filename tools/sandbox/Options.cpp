#include "tools/sandbox/Options.h"

#include "tools/dm/ExitCode.h"
#include "tools/dm/Files.h"
#include "tools/dm/ParseCommandLine.h"
#include "tools/dm/Version.h"

#include <CLI/CLI.hpp>
#include <cstdio>

namespace sandbox {

namespace {

constexpr int kMinSide = 100;
constexpr int kMaxSide = 16384;

constexpr const char* kFooter =
    "The key left of 1, or Shift+Escape, shows and hides the console; enter help there.\n\n"
    "A script has a step a line, and each takes a frame: key Console (or Tab, Ctrl+Home, ...),\n"
    "type TEXT, enter TEXT, paste TEXT, wait FRAMES, screenshot OUT.png; await TEXT takes as many "
    "as\n"
    "it needs until the console prints a line with that in it. # begins a comment.\n\n"
    "Tools that connect can run any command of the console. They are this machine's only, unless\n"
    "ZUL_LISTEN_ADDRESS names another address.\n\n"
    "Examples:\n"
    "  sandbox --headless --script keys.txt --screenshot out.png --size 1280x720\n"
    "  dm call 127.0.0.1:3500 console \"set speed 3\" --out -      while a sandbox runs\n\n"
    "Exit codes: 0 ok, 1 other failure, 2 usage.";

/// What becomes Options once the command line is read.
struct Given
{
    std::string size;
    std::string files;
    std::string hub;
    std::string consoleKey;
    int monitorPort = kDefaultMonitorPort;
    int pipePort = kDefaultPipePort;
    const CLI::Option* monitorOption = nullptr;
    const CLI::Option* pipeOption = nullptr;
};

void parseSize(const std::string& text, Options& options)
{
    int length = 0;
    const bool isSize =
        std::sscanf(text.c_str(), "%5dx%5d%n", &options.width, &options.height, &length) == 2 &&
        static_cast<size_t>(length) == text.size();
    if (!isSize || options.width < kMinSide || options.height < kMinSide ||
        options.width > kMaxSide || options.height > kMaxSide)
        throw tool::ToolError(tool::ExitCode::Usage,
                              "'" + text + "' is no size: give width and height, " +
                                  std::to_string(kMinSide) + " to " + std::to_string(kMaxSide) +
                                  " pixels, as in 1280x720");
}

SDL_Scancode parseScancode(const std::string& name)
{
    const SDL_Scancode code = SDL_GetScancodeFromName(name.c_str());
    if (code == SDL_SCANCODE_UNKNOWN)
        throw tool::ToolError(tool::ExitCode::Usage,
                              "there is no key '" + name + "'; F1 and Backslash are some");
    return code;
}

void addPictureOptions(CLI::App& app, Options& options, Given& given)
{
    app.add_flag("--headless", options.isHeadless,
                 "Without a display: draws into memory, with a fixed step of time, and ends with "
                 "the script. As fast as it can, but 60 frames a second where others connect");
    app.add_flag("--print", options.printsToOutput,
                 "Prints to standard output, too, what the console prints");
    // The validators go without what they would add to the help.
    app.add_option("--script", options.script, "Keystrokes to begin with, see below")
        ->type_name("FILE")
        ->check(CLI::Validator(CLI::ExistingFile).description(""));
    app.add_option("--screenshot", options.screenshot,
                   "Writes a picture at the end of the script, and ends")
        ->type_name("OUT.png");
    app.add_option("--size", given.size, "Of window or picture, in pixels (1280x720)")
        ->type_name("WxH");
    app.add_option("--font", options.font, "A monospaced font (DejaVu Sans Mono)")
        ->type_name("FILE");
}

void addLinkOptions(CLI::App& app, Given& given)
{
    const CLI::Validator ports = CLI::Range(0, 65535).description("");
    given.monitorOption = app.add_option("--monitor-port", given.monitorPort,
                                         "Where tools may watch and run commands; 0 picks one "
                                         "(3600, headless: none)")
                              ->type_name("PORT")
                              ->check(ports);
    CLI::Option* const pipeOption =
        app.add_option("--pipe-port", given.pipePort,
                       "Where tools may open pipes and run commands; 0 picks one (3500, headless, "
                       "with --files or --hub: none)")
            ->type_name("PORT")
            ->check(ports);
    given.pipeOption = pipeOption;
    CLI::Option* const filesOption =
        app.add_option("--files", given.files,
                       "A file server whose folders are used as the game's own")
            ->type_name("HOST:PORT")
            ->excludes(pipeOption);
    app.add_option("--hub", given.hub,
                   "A hub to join: its members may open pipes and run commands, too")
        ->type_name("HOST:PORT")
        ->excludes(pipeOption)
        ->excludes(filesOption);
}

void addConsoleOptions(CLI::App& app, Options& options, Given& given)
{
    app.add_option("--data", options.dataFolder,
                   "Where the console keeps its lines from run to run (a folder of the user's; "
                   "headless: nowhere)")
        ->type_name("DIR")
        ->check(CLI::Validator(CLI::ExistingDirectory).description(""));
    app.add_option("--console-key", given.consoleKey,
                   "Another key for the console, by its place on an American keyboard")
        ->type_name("KEY");
}

void complete(Options& options, const Given& given)
{
    if (!given.size.empty())
        parseSize(given.size, options);
    if (!given.files.empty())
        options.files = tool::parseAddress(given.files);
    if (!given.hub.empty())
        options.hub = tool::parseAddress(given.hub);
    if (!given.consoleKey.empty())
        options.consoleKey = parseScancode(given.consoleKey);
    if (given.monitorOption->count() > 0 || !options.isHeadless)
        options.monitorPort = given.monitorPort;
    if (given.pipeOption->count() > 0 || (!options.isHeadless && !options.files && !options.hub))
        options.pipePort = given.pipePort;
    if (options.isHeadless && options.script.empty() && options.screenshot.empty())
        throw tool::ToolError(tool::ExitCode::Usage,
                              "nobody could end a game without a display: give --script or "
                              "--screenshot");
}

} // namespace

std::optional<Options> parseOptions(int argc, char** argv, const std::string& commit)
{
    CLI::App app{"A small scene behind the developer console.", "sandbox"};
    app.set_help_flag("-h,--help", "Prints this help and ends");
    app.set_version_flag("--version", tool::describeVersion("dm sandbox", commit),
                         "Prints the version and ends");
    app.footer(kFooter);
    Options options;
    Given given;
    addPictureOptions(app, options, given);
    addLinkOptions(app, given);
    addConsoleOptions(app, options, given);
    if (const auto answer = tool::parseCommandLine(app, argc, argv)) {
        tool::writeOutput(answer->data(), answer->size());
        return std::nullopt;
    }
    complete(options, given);
    return options;
}

} // namespace sandbox
