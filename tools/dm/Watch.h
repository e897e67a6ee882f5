#pragma once

#include "tools/dm/Arguments.h"
#include "tools/dm/ExitCode.h"
#include "tools/dm/WatchScreen.h"

#include <chrono>
#include <optional>
#include <string>
#include <vector>

namespace tool {

/// What `dm watch` is asked for.
struct WatchOptions
{
    std::optional<Address> address;
    std::string replayPath;
    std::string recordPath;
    std::string profilePath;
    std::optional<int> webPort;
    std::optional<std::chrono::milliseconds> duration;
    std::vector<int> requests;
    std::vector<std::string> data;
    WatchView view;

    bool isReplay() const { return !replayPath.empty(); }
    std::string source() const { return isReplay() ? replayPath : address->toString(); }
};

/// Watches a game, or replays a recording, to its end. Throws ToolError.
///
/// Threads: the main thread.
ExitCode watch(const WatchOptions& options);

} // namespace tool
