/// The fields of the monitor's packets, in both directions: values in, packets out, and back. No
/// I/O; what a tool reads and writes is in <dm/monitor.h>.
#pragma once

#include <dm/monitor.h>

#include <string>

namespace dm {

/// Makes the packet a line of text.
void writeText(net::Packet& packet, int channel, const char* text, u32 length);
/// Makes the packet an in-place value; returns the payload bytes of group and name, which are the
/// same for every value of one place and for no other.
u32 writeInPlace(net::Packet& packet, int group, const char* name, const char* text, u32 length);

/// What a tool wants of the game.
struct MonitorCommand
{
    enum class Kind
    {
        Nothing, ///< ignored by what it says, or malformed
        Request,
        Data
    };

    Kind kind = Kind::Nothing;
    int request = 0; ///< in range
    std::string data{};
};

/// Decodes a packet from a tool, into a copy.
MonitorCommand readMonitorCommand(net::Packet& packet);

/// Makes the packet the line that says how many lines a tool has lost; readLostLines is its
/// inverse.
void writeLostLines(net::Packet& packet, u64 lines);

} // namespace dm
