#include "tools/sandbox/Options.h"

#include "tools/dm/ExitCode.h"

#include <CLI/CLI.hpp>
#include <cstdio>

namespace sandbox {

namespace {

constexpr int kMaxSide = 16384;

void parseSize(const std::string& text, Options& options)
{
    int length = 0;
    const bool isSize =
        std::sscanf(text.c_str(), "%5dx%5d%n", &options.width, &options.height, &length) == 2 &&
        static_cast<size_t>(length) == text.size();
    if (!isSize || options.width < 100 || options.height < 100 || options.width > kMaxSide ||
        options.height > kMaxSide)
        throw tool::ToolError(tool::ExitCode::Usage, "'" + text + "' is no size, as 1280x720 is");
}

SDL_Scancode parseScancode(const std::string& name)
{
    const SDL_Scancode code = SDL_GetScancodeFromName(name.c_str());
    if (code == SDL_SCANCODE_UNKNOWN)
        throw tool::ToolError(tool::ExitCode::Usage, "there is no key '" + name + "'");
    return code;
}

} // namespace

std::optional<Options> parseOptions(int argc, char** argv, int& exitCode)
{
    CLI::App app{"A small scene behind the developer console.", "sandbox"};
    app.set_version_flag("--version", "dm sandbox " DM_VERSION);
    app.footer(
        "The key left of 1, or Shift+Escape, shows and hides the console; enter help there.");

    Options options;
    std::string size;
    std::string files;
    std::string consoleKey;
    int monitorPort = kDefaultMonitorPort;
    int pipePort = kDefaultPipePort;
    // Without what they would add to the help.
    const CLI::Validator ports = CLI::Range(0, 65535).description("");
    const CLI::Validator file = CLI::Validator(CLI::ExistingFile).description("");
    const CLI::Validator folder = CLI::Validator(CLI::ExistingDirectory).description("");
    app.add_flag("--headless", options.isHeadless,
                 "Without a display: draws into memory, with a fixed step of time, and ends with "
                 "the script");
    app.add_option("--script", options.script, "Keystrokes to begin with")
        ->type_name("FILE")
        ->check(file);
    app.add_option("--screenshot", options.screenshot,
                   "Writes a picture at the end of the script, and ends")
        ->type_name("OUT.png");
    app.add_option("--size", size, "Of window or picture, in pixels (1280x720)")->type_name("WxH");
    const CLI::Option* const monitorOption =
        app.add_option("--monitor-port", monitorPort,
                       "Where tools may watch; 0 picks one (3600, headless: none)")
            ->type_name("PORT")
            ->check(ports);
    CLI::Option* const pipeOption =
        app.add_option("--pipe-port", pipePort,
                       "Where pipes may be opened; 0 picks one (3500, headless or with --files: "
                       "none)")
            ->type_name("PORT")
            ->check(ports);
    app.add_option("--files", files, "A file server whose folders are used as the game's own")
        ->type_name("HOST:PORT")
        ->excludes(pipeOption);
    app.add_option("--data", options.dataFolder,
                   "Where the console keeps its lines from run to run (a folder of the user's; "
                   "headless: nowhere)")
        ->type_name("DIR")
        ->check(folder);
    app.add_option("--font", options.font, "A monospaced font (DejaVu Sans Mono)")
        ->type_name("FILE");
    app.add_option("--console-key", consoleKey,
                   "Another key for the console, by its place on an American keyboard")
        ->type_name("KEY");
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        exitCode =
            static_cast<int>(app.exit(error) == 0 ? tool::ExitCode::Ok : tool::ExitCode::Usage);
        return std::nullopt;
    }

    if (!size.empty())
        parseSize(size, options);
    if (!files.empty())
        options.files = tool::parseAddress(files);
    if (!consoleKey.empty())
        options.consoleKey = parseScancode(consoleKey);
    if (monitorOption->count() > 0 || !options.isHeadless)
        options.monitorPort = monitorPort;
    if (pipeOption->count() > 0 || (!options.isHeadless && !options.files))
        options.pipePort = pipePort;
    if (options.isHeadless && options.script.empty() && options.screenshot.empty())
        throw tool::ToolError(tool::ExitCode::Usage,
                              "nobody could end a game without a display: give --script or "
                              "--screenshot");
    return options;
}

} // namespace sandbox
