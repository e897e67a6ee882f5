/// Every limit of the pipes, once. What a peer sends is checked against these before it sizes,
/// indexes or names anything.
#pragma once

#include <dm/comm.h>

#include <chrono>

namespace dm {

/// Names of pipes and managers; a longer one in a received message drops the message.
inline constexpr uint32 kMaxNameBytes = 1024;

/// Different names that other ends may give themselves to one manager.
inline constexpr uint32 kMaxRemoteNames = 4096;

/// How many entries of each outgoing queue one pass looks at. A request keeps its place until it
/// is answered, so the ninth unanswered one waits.
inline constexpr uint32 kMessagesPerPass = 8;

/// How many pipes one pass pumps; the rest come first in the next.
inline constexpr uint32 kPipesPerPass = 256;

/// How much payload one pipe may hand to its connection in one pass, so that a bulk transfer
/// leaves the others their turn.
inline constexpr uint32 kPumpBytesPerPass = 1024 * 1024;

/// A connection with more than this unsent takes no further messages until it has drained: its
/// peer reads slower than we write, and the rest is cheaper kept in the callers' buffers.
inline constexpr uint32 kSendHighWaterBytes = 256 * 1024;

/// Answers from a source are read in blocks of this size, so many ahead of what was sent: one is
/// filled and one sent at any time, and the others keep both ends from waiting for each other.
inline constexpr uint32 kAnswerBlockBytes = 256 * 1024;
inline constexpr uint32 kAnswerBlocks = 4;

/// Small messages gather in the connection's buffer up to here while more are waiting.
inline constexpr uint32 kGatherBytes = 32 * 1024;

/// What one connection may have us keep at a time: requests with the data they claim, and
/// notifications. A request with 1 GiB of data fits, with its text and others' beside it.
inline constexpr zu::u64 kIncomingBytesLimit = (1024ull + 16) * 1024 * 1024;

/// Requests of one pipe that nobody has taken. An honest sender has at most kMessagesPerPass
/// unanswered ones.
inline constexpr uint32 kMaxIncomingRequests = 1024;

/// Notifications of one pipe that nobody has taken; newer ones are dropped.
inline constexpr zu::u64 kMaxIncomingNotifyBytes = 256ull * 1024 * 1024;

/// What a queued message counts beside its text and data.
inline constexpr uint32 kRecordBytes = 256;

/// Past this many pipes of one manager other ends cannot make more; each takes some 25 KiB.
inline constexpr uint32 kMaxPipes = 4096;

/// A connection that has us answer this much without reading it is closed. The pump alone stays
/// far below, see kSendHighWaterBytes.
inline constexpr uint32 kMaxUnreadAnswerBytes = 1024 * 1024;

/// Seconds of application age between two attempts to connect, and between two requests to open a
/// pipe that the other end has not opened yet.
inline constexpr double kReconnectSeconds = 0.5;
inline constexpr double kOpenPipeSeconds = 0.2;

/// With work at hand, how long passes go on before they look again for what has arrived.
inline constexpr std::chrono::microseconds kLookInterval{20};

/// How often a server looks at all its connections, for memory that bulk data has left behind.
inline constexpr double kTrimSeconds = 1.0;

/// A client that was sent elsewhere leaves at once. One that does not is closed after so long, or
/// when so many of them are there: each holds a descriptor.
inline constexpr double kSentOnSeconds = 5.0;
inline constexpr uint32 kMaxSentOn = 64;

/// The longest a manager's thread sleeps without looking around.
inline constexpr uint32 kLongestWaitMs = 100;

/// How long a manager being destroyed goes on sending what callers believe sent.
inline constexpr uint32 kShutdownFlushMs = 100;

} // namespace dm
