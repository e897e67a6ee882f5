/// The debug monitor: tools connect to the running game over TCP, see its text, statistics and
/// profile live, and send it small requests and data.
///
///     #include <dm/monitor.h>
///     #include <zul/Thread.h>
///
///     int main()
///     {
///         dm::init(3600);
///         for (int frame = 0; !dm::checkAndClearRequest(0); ++frame) { // until a tool asks for it
///             dm::update();
///             if (frame % 60 == 0)
///                 dm::print("%d seconds have passed", frame / 60);
///             dm::printInPlace(dm::EngineStatistics, "frame", "%d", frame);
///             zu::sleepMs(16);
///         }
///         dm::deinit();
///     }
///
/// A tool never costs the game: what is printed goes to one log in memory, and a thread of the
/// monitor sends from there, to each tool as fast as that tool reads. With no tool connected
/// nothing is formatted. A tool that stops reading stays connected, and keeps no memory but what is
/// on its way to it: what the log no longer holds when it reads again it has lost. It is told first
/// how many lines those were, gets the newest of the in-place values among what it has lost, and
/// then goes on with the oldest that is there. So lines printed = lines received + lines reported
/// as lost.
///
/// When not: to talk with another program there are pipes, <dm/comm.h>; a tool may be gone at any
/// time and nobody notices.
///
/// Threads: any, for everything; printing never waits for another thread's callback or for a tool.
/// Ownership: what is handed over is copied before the call returns, but for the callback.
/// Errors: without the port, memory or a thread there is no monitor, a line on standard error says
/// why, and all calls go on doing nothing.
/// Limits: kMaxMonitorTools tools; texts of kMaxMonitorTextLength characters; the others below.
/// Connections are neither authenticated nor encrypted; see <zul/Listener.h> for where is listened.
/// Order: init, update once a frame, deinit. Everything may be called before init and after deinit;
/// nothing is sent then. A tool sees packets in the order of the calls, from the update() on that
/// accepted it.
///
/// The bytes on the wire are described in docs/protocol/monitor.md. For a tool, the other end, the
/// second half of this header has what both ends must agree on.
#pragma once

#include <dm/export.h>
#include <zul/Packet.h>
#include <zul/String.h>

namespace dm {

using zu::u32;
using zu::u64;

/// Where in-place values belong; other numbers are sent as they are.
enum InPlaceGroup : int
{
    DefaultInPlaceData = 0,
    EngineStatistics = 1,
    StreamingStatistics = 2,
    ResourceStatistics = 3,
};

/// How many different requests there are: 0, 1 and 2. What they mean is up to the game.
inline constexpr int kMonitorRequests = 3;

/// Longer texts of print and printInPlace are cut to this, in characters: they are formatted on the
/// stack.
inline constexpr u32 kMaxMonitorTextLength = 255;

/// Further tools are turned away. Each takes a descriptor, and some 130 KiB when it does not read.
inline constexpr u32 kMaxMonitorTools = 128;

/// Bytes that the log holds for tools that are behind: some 60,000 lines of 50 characters.
inline constexpr u32 kDefaultMonitorBacklogBytes = 4 * 1024 * 1024;
/// Enough for two of the longest packets.
inline constexpr u32 kMinMonitorBacklogBytes = 2 * (net::kMaxPayloadBytes + 64 * 1024);

/// So many different (group, name), with names of at most so many bytes, have their newest value
/// kept for tools that are behind. Others such a tool loses.
inline constexpr u32 kMaxKeptInPlaceValues = 4096;
inline constexpr u32 kMaxKeptInPlaceNameLength = 255;

/// An update within so many others, each called by a parseData, does nothing: what a tool sends
/// must not fill the stack.
inline constexpr u32 kMaxNestedMonitorUpdates = 64;

/// Receives what tools send as data. Derive from it and pass it to setDataParserCallback.
class DM_API DataParserCallback
{
public:
    DataParserCallback() = default;
    virtual ~DataParserCallback();

    /// Called by update(), on its thread.
    ///
    ///   data   zero-terminated, never null; valid until the return.
    ///
    /// May call anything of the monitor, deinit, init and update too. An update hands over what was
    /// sent behind this data, so one that always updates is called within itself as often as a tool
    /// likes, up to kMaxNestedMonitorUpdates. Must not wait for a thread that calls anything of the
    /// monitor but what sends and checkAndClearRequest: all else waits for it.
    virtual void parseData(const char* data) = 0;
};

/// Starts listening and forgets all requests.
///
///   port   0 picks a free one, see getMonitorPort.
///
/// Called again without deinit, it leaves the earlier listener and its connections open and unused
/// for as long as the process lives, and begins anew; on the same port it cannot.
DM_API void init(int port);

/// Once per frame: takes new connections, hands over what tools have sent, in the order in which
/// they connected, and lets go of those that are gone. Does nothing before init. Never waits for a
/// tool. One call hands over what has arrived by then, at most 256 packets a tool.
DM_API void update();

/// Closes all connections and stops listening. What was printed goes out first where that does not
/// take long: returns after a quarter of a second at the latest. Leaves callback and requests
/// alone.
DM_API void deinit();

/// The port in use, for init(0); 0 when not listening.
DM_API u32 getMonitorPort();

/// How many bytes tools may be behind before they lose lines, from the next init on. Less than
/// kMinMonitorBacklogBytes counts as that.
DM_API void setMonitorBacklogLimit(u32 bytes);

/// Sends a line of text to all tools; the form without a channel uses 0. printf formatting; "" when
/// the format is invalid. With no tool connected it costs a few nanoseconds.
DM_API void print(int channel, const char* format, ...) ZUL_PRINTF_LIKE(2, 3);
DM_API void print(const char* format, ...) ZUL_PRINTF_LIKE(1, 2);

/// Sends a value that takes the place of the one of the same group and name; the form without a
/// group uses DefaultInPlaceData.
DM_API void printInPlace(int group, const char* name, const char* format, ...)
    ZUL_PRINTF_LIKE(3, 4);
DM_API void printInPlace(const char* name, const char* format, ...) ZUL_PRINTF_LIKE(2, 3);

/// "Unknown In Place Data" for a number without a name. Lives for ever.
DM_API const char* getInPlaceGroupName(int group);

/// Sends a packet of any id to all tools. It is copied: it can be changed after the return. Null, a
/// packet that has failed and one of more than net::kMaxPayloadBytes are not sent. Its position
/// moves.
DM_API void broadcastPacket(net::Packet* packet);

/// Sends what the threads of the program have been doing, see <zul/Profile.h>. The first call
/// switches recording on, so its packet has little to show.
DM_API void createProfilePacket();

/// Whether a tool has sent this request since the last time. False for anything but 0 to
/// kMonitorRequests - 1.
DM_API bool checkAndClearRequest(int request);

/// Null unregisters. Not owned; when this returns the previous one is not in use any more, unless
/// called from within its parseData. Without one, data is dropped.
DM_API void setDataParserCallback(DataParserCallback* callback);

// What both ends must agree on.

/// Ids of the packets.
enum class MonitorPacketId : int
{
    // To tools.
    Text = 1,
    InPlace = 2,
    Profile = 3,
    // From tools.
    Request = 4,
    Ignored = 100,
    Data = 101,
};

/// The longest payload that the game accepts of a tool; a longer one closes the connection.
inline constexpr u32 kMaxMonitorRequestBytes = 64 * 1024;

/// What a tool has received, see readMonitorMessage.
struct MonitorMessage
{
    enum class Kind
    {
        Text,    ///< channel, text
        InPlace, ///< group, name, text
        Profile, ///< the packet's position is at the profile, for its own reader
        Other,   ///< of the game's own
        Malformed
    };

    Kind kind = Kind::Malformed;
    int channel = 0;
    int group = 0;
    const char* name = "";
    const char* text = "";
};

/// Decodes a packet from the game. Texts are zero-terminated and live as long as the packet does;
/// they may hold any bytes. Never reads beyond the packet.
DM_API MonitorMessage readMonitorMessage(net::Packet& packet);

/// How many lines the message says were lost on the way to this tool; 0 for any other message. A
/// game that prints the same words on channel 0 is believed.
DM_API u64 readLostLines(const MonitorMessage& message);

/// Makes the packet one that sends a request, or data, to the game. Data of more than
/// kMaxMonitorRequestBytes, net::kTextFrameBytes included, is refused with false: the game would
/// hang up.
DM_API void writeMonitorRequest(net::Packet& packet, int request);
DM_API bool writeMonitorData(net::Packet& packet, const char* data);

} // namespace dm
