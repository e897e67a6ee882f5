#include "tools/monitor/Recording.h"

#include "fuzz/Checks.h"

#include <algorithm>

namespace fuzz {

namespace {

using monitor::MonitorEvent;
using monitor::RecordingDecoder;

// All events of the bytes, written again: equal for equal events.
std::string eventsOf(const std::uint8_t* data, size_t size, size_t pieceBytes,
                     RecordingDecoder& decoder)
{
    std::string events = monitor::recordingHead();
    MonitorEvent event;
    for (size_t at = 0; at < size; at += pieceBytes) {
        decoder.feed({data + at, std::min(pieceBytes, size - at)});
        while (decoder.next(event) == RecordingDecoder::Status::Event) {
            require((event.kind == MonitorEvent::Kind::Profile) == (event.profile != nullptr));
            monitor::appendRecord(events, event);
        }
    }
    require(decoder.goodBytes() <= size);
    return events;
}

// Events are the same however the bytes are cut, and are what is read of them again.
void check(const std::uint8_t* data, size_t size)
{
    RecordingDecoder whole;
    RecordingDecoder cut;
    RecordingDecoder again;
    const std::string events = eventsOf(data, size, std::max<size_t>(size, 1), whole);
    require(eventsOf(data, size, 7, cut) == events);
    require(cut.goodBytes() == whole.goodBytes());
    require(events.size() <= whole.goodBytes() + monitor::recordingHead().size());
    const auto* const bytes = reinterpret_cast<const std::uint8_t*>(events.data());
    require(eventsOf(bytes, events.size(), events.size(), again) == events);
    require(again.isAtBoundary());
}

} // namespace

void checkRecording(const std::uint8_t* data, size_t size)
{
    check(data, size);
    std::string record = monitor::recordingHead();
    for (const auto number : {static_cast<zu::u32>(size), monitor::recordChecksum({data, size})})
        for (int byte = 0; byte < 4; ++byte)
            record += static_cast<char>(number >> (8 * byte));
    record.append(data, data + size);
    check(reinterpret_cast<const std::uint8_t*>(record.data()), record.size());
}

} // namespace fuzz
