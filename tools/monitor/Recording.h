/// A file that keeps the events of a watched game, for later.
///
/// It only ever grows, a record an event, each with its length and checksum: what was written
/// before the tool was killed can be read. docs/protocol/monitor.md describes the bytes.
#pragma once

#include "tools/monitor/MonitorEvent.h"

#include <cstdio>
#include <functional>
#include <memory>
#include <string>

namespace monitor {

/// The longest record without its head: what a packet can hold fits. A longer one is damage.
inline constexpr std::size_t kMaxRecordBytes = 2 * 1024 * 1024;

/// What a recording begins with, and what follows for an event.
std::string recordingHead();
void appendRecord(std::string& bytes, const MonitorEvent& event);

/// Of a record's bytes behind its head: CRC-32 as in zip files.
zu::u32 recordChecksum(std::span<const u8> bytes);

/// Takes a recording's bytes, cut anywhere, and gives the events. Without I/O.
///
///     RecordingDecoder decoder;
///     while (read(piece)) {
///         decoder.feed(piece);
///         while (decoder.next(event) == RecordingDecoder::Status::Event)
///             show(event);
///     }
///     bool cutOff = !decoder.isAtBoundary();
///
/// Errors: whatever the bytes are, it is safe; what is not a whole record with the right checksum
/// is not given. Records of kinds that later versions may add are passed over. Limits: keeps no
/// more than what was fed since the last next and one record.
class RecordingDecoder
{
public:
    enum class Status
    {
        Event,        ///< one is given
        NeedsMore,    ///< at the end of the file: cut off, unless isAtBoundary
        NotRecording, ///< for good: the head is not a recording's of this version
        Damaged       ///< for good: goodBytes() tells from where on
    };

    void feed(std::span<const u8> bytes);
    Status next(MonitorEvent& event);

    /// Whether all that was fed was whole records.
    bool isAtBoundary() const { return headIsRead && position == buffer.size(); }

    /// So many bytes were fed.
    u64 fedBytes() const { return passedBytes + buffer.size(); }

    /// So many bytes from the beginning on are the head and whole records.
    u64 goodBytes() const { return passedBytes + position; }

private:
    Status readHead();
    Status readRecord(MonitorEvent& event);

    std::vector<u8> buffer;
    std::size_t position = 0; // in buffer; what is before it was given
    u64 passedBytes = 0;      // of the file, no longer in the buffer
    bool headIsRead = false;
    Status failure = Status::Event; // the one that is for good, once there is one
};

/// Writes events to a file. What take was given is with the system when it returns, so it outlives
/// the tool. One writer a file at a time.
///
/// Errors: std::runtime_error, naming the file and what is wrong.
class RecordingWriter : public MonitorOutput
{
public:
    /// Makes the file, or goes on with the recording that is there, from behind its last whole
    /// record. A file that is something else is refused and left alone.
    explicit RecordingWriter(const std::string& path);
    ~RecordingWriter() override;

    void take(MonitorEvents events) override;

    /// What of the file's end was cut off and is overwritten; 0 as a rule.
    u64 removedBytes() const { return removed; }

private:
    u64 findEnd() const;
    void write();
    [[noreturn]] void fail(const std::string& why) const;

    const std::string path;
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> file{nullptr, &std::fclose};
    std::string buffer;
    u64 removed = 0;
};

/// How a recording ended.
struct ReplayEnd
{
    u64 events = 0;
    /// At the file's end: a record that was cut off, or damage and all behind.
    u64 ignoredBytes = 0;
    bool isDamaged = false;
};

/// Reads a recording and hands its events over as a MonitorClient would, as fast as they are taken.
///
///   wanted   asked between calls of take; false ends the reading.
///
/// Errors: std::runtime_error when the file cannot be read or is no recording; what take throws.
ReplayEnd replay(const std::string& path, MonitorOutput& output,
                 const std::function<bool()>& wanted);

} // namespace monitor
