/// What a tool that watches a game learns, one thing at a time: live from a MonitorClient, or again
/// from a recording.
#pragma once

#include <zul/Types.h>

#include <chrono>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace monitor {

using zu::u64;
using zu::u8;

struct MonitorEvent
{
    /// With the numbers that recordings have.
    enum class Kind : u8
    {
        Connected = 1, ///< text: the game's address. A new game perhaps: its values begin anew
        Lost,          ///< the connection ended; text: why
        Unreachable,   ///< no connection so far or again, said once; text: why
        NotAMonitor,   ///< something else listens there, said once; text: what gave it away
        Text,          ///< channel, text
        Value,         ///< group, name, text: takes the place of the one of this group and name
        Profile,       ///< profile
        LostLines,     ///< lostLines: this tool was too slow for so many lines
    };

    Kind kind = Kind::Text;

    std::chrono::microseconds time{0};      ///< since the tool started
    std::chrono::microseconds wallClock{0}; ///< since 1970-01-01 UTC

    int channel = 0;
    int group = 0;
    std::string name; ///< any bytes, as the game sent them; so is text
    std::string text;
    u64 lostLines = 0;

    /// The bytes of a d::Profile::Snapshot, unread. Set only, and always, when kind is Profile.
    /// Shared by all who keep the event; none changes them.
    std::shared_ptr<const std::vector<u8>> profile;
};

/// Events in the order in which they came.
using MonitorEvents = std::span<const MonitorEvent>;

/// Whoever is told all events: a terminal, a recording, a page.
///
/// Threads: take is called by one thread at a time, that of the MonitorClient. While it runs
/// nothing is received; when it is slow for long, the game counts lines as lost. Errors: take may
/// throw; what drives the outputs then stops.
class MonitorOutput
{
public:
    MonitorOutput() = default;
    virtual ~MonitorOutput() = default;
    MonitorOutput(const MonitorOutput&) = delete;
    MonitorOutput& operator=(const MonitorOutput&) = delete;

    /// Valid until the return: copies what is to be kept.
    virtual void take(MonitorEvents events) = 0;
};

} // namespace monitor
