#pragma once

#include "tools/dm/Arguments.h"

#include <SDL.h>
#include <optional>
#include <string>

namespace sandbox {

inline constexpr int kDefaultMonitorPort = 3600;
inline constexpr int kDefaultPipePort = 3500;

/// What the command line asks for.
struct Options
{
    bool isHeadless = false;
    bool printsToOutput = false;
    std::string script;     ///< "" for none
    std::string screenshot; ///< "" for none
    int width = 1280;
    int height = 720;
    std::optional<int> monitorPort;     ///< nothing: no link
    std::optional<int> pipePort;        ///< nothing: none that listens
    std::optional<tool::Address> files; ///< of the file server
    std::optional<tool::Address> hub;   ///< to be a member of
    std::string dataFolder;             ///< "" for the system's
    std::string font;                   ///< "" for the one that is looked for
    SDL_Scancode consoleKey = SDL_SCANCODE_GRAVE;

    /// Whether other programs have a part in it.
    bool hasLinks() const { return monitorPort || pipePort || files || hub; }
};

/// Nothing when the line asked for the help or the version, which is printed then. Throws
/// tool::ToolError.
std::optional<Options> parseOptions(int argc, char** argv, const std::string& commit);

} // namespace sandbox
