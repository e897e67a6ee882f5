#include "tools/monitor/Recording.h"

#include <algorithm>
#include <array>
#include <cassert>
#include <cerrno>
#include <filesystem>
#include <stdexcept>
#include <string_view>
#include <system_error>

namespace monitor {

using zu::u32;
using Kind = MonitorEvent::Kind;
using Status = RecordingDecoder::Status;

namespace {

constexpr std::string_view kHead("dmwatch\x01", 8);
constexpr std::size_t kRecordHeadBytes = 8;
constexpr std::size_t kPieceBytes = 256 * 1024;

constexpr std::array<u32, 256> makeChecksumTable()
{
    std::array<u32, 256> table{};
    for (u32 byte = 0; byte < 256; ++byte) {
        u32 value = byte;
        for (int bit = 0; bit < 8; ++bit)
            value = (value >> 1) ^ ((value & 1) != 0 ? 0xEDB88320u : 0);
        table[byte] = value;
    }
    return table;
}

template <typename Number>
void putAt(char* place, Number number)
{
    for (std::size_t i = 0; i < sizeof number; ++i)
        place[i] = static_cast<char>(number >> (8 * i));
}

template <typename Number>
void put(std::string& bytes, Number number)
{
    bytes.resize(bytes.size() + sizeof number);
    putAt(bytes.data() + bytes.size() - sizeof number, number);
}

void putText(std::string& bytes, const void* text, std::size_t size)
{
    put(bytes, static_cast<u32>(size));
    bytes.append(static_cast<const char*>(text), size);
}

void putFields(std::string& bytes, const MonitorEvent& event)
{
    switch (event.kind) {
    case Kind::Text:
        put(bytes, static_cast<u32>(event.channel));
        break;
    case Kind::Value:
        put(bytes, static_cast<u32>(event.group));
        putText(bytes, event.name.data(), event.name.size());
        break;
    case Kind::Profile:
        putText(bytes, event.profile->data(), event.profile->size());
        return;
    case Kind::LostLines:
        put(bytes, event.lostLines);
        return;
    case Kind::Connected:
    case Kind::Lost:
    case Kind::Unreachable:
    case Kind::NotAMonitor:
        break;
    }
    putText(bytes, event.text.data(), event.text.size());
}

// Reads fields one after another; once one is not there, all that follow are 0 or "".
class Fields
{
public:
    Fields(const u8* begin, std::size_t size)
        : next(begin)
        , left(size)
    {
    }

    template <typename Number>
    Number take()
    {
        Number number = 0;
        if (const u8* const bytes = take(sizeof number))
            for (std::size_t i = 0; i < sizeof number; ++i)
                number = static_cast<Number>(number | static_cast<Number>(bytes[i]) << (8 * i));
        return number;
    }

    std::span<const u8> takeText()
    {
        const std::size_t size = take<u32>();
        const u8* const bytes = take(size);
        return {bytes, bytes ? size : 0};
    }

    void takeText(std::string& out)
    {
        const std::span<const u8> bytes = takeText();
        out.assign(bytes.begin(), bytes.end());
    }

    bool areGood() const { return good; }

private:
    const u8* take(std::size_t size)
    {
        good = good && size <= left;
        if (!good)
            return nullptr;
        const u8* const bytes = next;
        next += size;
        left -= size;
        return bytes;
    }

    const u8* next;
    std::size_t left;
    bool good = true;
};

// Returns whether it is of a kind that this version knows.
bool takeFields(Fields& fields, MonitorEvent& event)
{
    event.kind = static_cast<Kind>(fields.take<u8>());
    event.time = std::chrono::microseconds(static_cast<zu::s64>(fields.take<u64>()));
    event.wallClock = std::chrono::microseconds(static_cast<zu::s64>(fields.take<u64>()));
    event.channel = event.group = 0;
    event.name.clear();
    event.text.clear();
    event.lostLines = 0;
    event.profile.reset();
    switch (event.kind) {
    case Kind::Text:
        event.channel = static_cast<int>(fields.take<u32>());
        break;
    case Kind::Value:
        event.group = static_cast<int>(fields.take<u32>());
        fields.takeText(event.name);
        break;
    case Kind::Profile: {
        const std::span<const u8> bytes = fields.takeText();
        event.profile = std::make_shared<const std::vector<u8>>(bytes.begin(), bytes.end());
        return true;
    }
    case Kind::LostLines:
        event.lostLines = fields.take<u64>();
        return true;
    case Kind::Connected:
    case Kind::Lost:
    case Kind::Unreachable:
    case Kind::NotAMonitor:
        break;
    default:
        return false;
    }
    fields.takeText(event.text);
    return true;
}

std::string lastError() { return std::generic_category().message(errno); }

// Feeds the decoder with the whole file and calls `onPiece` after each piece, until that returns
// false. Throws what is wrong with the file.
template <typename OnPiece>
void readFile(const std::string& path, RecordingDecoder& decoder, OnPiece onPiece)
{
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "rb"),
                                                               &std::fclose);
    if (!file)
        throw std::runtime_error("cannot read " + path + ": " + lastError());
    std::vector<u8> piece(kPieceBytes);
    do {
        const std::size_t count = std::fread(piece.data(), 1, piece.size(), file.get());
        if (std::ferror(file.get()) != 0)
            throw std::runtime_error("cannot read " + path + ": " + lastError());
        if (count == 0)
            return;
        decoder.feed({piece.data(), count});
    } while (onPiece());
}

} // namespace

u32 recordChecksum(std::span<const u8> bytes)
{
    static constexpr std::array<u32, 256> kTable = makeChecksumTable();
    u32 value = ~u32{0};
    for (const u8 byte : bytes)
        value = (value >> 8) ^ kTable[(value ^ byte) & 0xFF];
    return ~value;
}

std::string recordingHead() { return std::string(kHead); }

void appendRecord(std::string& bytes, const MonitorEvent& event)
{
    const std::size_t start = bytes.size();
    bytes.resize(start + kRecordHeadBytes);
    put(bytes, static_cast<u8>(event.kind));
    put(bytes, static_cast<u64>(event.time.count()));
    put(bytes, static_cast<u64>(event.wallClock.count()));
    putFields(bytes, event);
    const std::size_t size = bytes.size() - start - kRecordHeadBytes;
    assert(size <= kMaxRecordBytes);
    char* const head = bytes.data() + start;
    putAt(head, static_cast<u32>(size));
    putAt(head + 4, recordChecksum({reinterpret_cast<const u8*>(head) + kRecordHeadBytes, size}));
}

void RecordingDecoder::feed(std::span<const u8> bytes)
{
    buffer.erase(buffer.begin(), buffer.begin() + static_cast<std::ptrdiff_t>(position));
    passedBytes += position;
    position = 0;
    buffer.insert(buffer.end(), bytes.begin(), bytes.end());
}

Status RecordingDecoder::next(MonitorEvent& event)
{
    if (failure == Status::Event && !headIsRead) {
        const Status status = readHead();
        if (status != Status::Event)
            return status;
    }
    return failure != Status::Event ? failure : readRecord(event);
}

Status RecordingDecoder::readHead()
{
    const std::size_t there = std::min(kHead.size(), buffer.size());
    if (!std::equal(kHead.begin(), kHead.begin() + there, buffer.begin(),
                    [](char left, u8 right) { return static_cast<u8>(left) == right; }))
        return failure = Status::NotRecording;
    if (there < kHead.size())
        return Status::NeedsMore;
    position = kHead.size();
    headIsRead = true;
    return Status::Event;
}

Status RecordingDecoder::readRecord(MonitorEvent& event)
{
    for (;;) {
        const u8* const record = buffer.data() + position;
        const std::size_t left = buffer.size() - position;
        Fields head(record, left);
        const u32 size = head.take<u32>();
        const u32 expected = head.take<u32>();
        if (size > kMaxRecordBytes)
            return failure = Status::Damaged;
        if (left < kRecordHeadBytes || left - kRecordHeadBytes < size)
            return Status::NeedsMore;
        Fields fields(record + kRecordHeadBytes, size);
        if (recordChecksum({record + kRecordHeadBytes, size}) != expected)
            return failure = Status::Damaged;
        const bool isKnown = takeFields(fields, event);
        if (!fields.areGood())
            return failure = Status::Damaged;
        position += kRecordHeadBytes + size;
        if (isKnown)
            return Status::Event;
    }
}

RecordingWriter::RecordingWriter(const std::string& filePath)
    : path(filePath)
{
    std::error_code error;
    const std::filesystem::file_status status = std::filesystem::status(path, error);
    const bool isThere = std::filesystem::exists(status);
    if (isThere && !std::filesystem::is_regular_file(status))
        fail("it is no file to append to");
    const u64 size = isThere ? std::filesystem::file_size(path, error) : 0;
    if (isThere && error)
        fail(error.message());
    const u64 kept = size > 0 ? findEnd() : 0;
    removed = size - std::min(size, kept); // another tool may have written since
    if (removed > 0)
        std::filesystem::resize_file(path, kept, error);
    if (removed > 0 && error)
        fail(error.message());
    file.reset(std::fopen(path.c_str(), "ab"));
    if (!file)
        fail(lastError());
    std::setvbuf(file.get(), nullptr, _IONBF, 0);
    if (kept == 0)
        buffer = recordingHead();
    write();
}

RecordingWriter::~RecordingWriter() = default;

// How much of the file that is there is to be kept.
u64 RecordingWriter::findEnd() const
{
    RecordingDecoder decoder;
    MonitorEvent event;
    Status status = Status::NeedsMore;
    readFile(path, decoder, [&] {
        do
            status = decoder.next(event);
        while (status == Status::Event);
        return status == Status::NeedsMore;
    });
    if (status == Status::NotRecording)
        fail("there is a file that is no recording of this version; give another name");
    if (status == Status::Damaged)
        fail("the recording that is there is damaged from byte " +
             std::to_string(decoder.goodBytes()) + " on; give another name");
    return decoder.goodBytes();
}

void RecordingWriter::take(MonitorEvents events)
{
    for (const MonitorEvent& event : events) {
        appendRecord(buffer, event);
        if (buffer.size() > kPieceBytes)
            write();
    }
    write();
}

void RecordingWriter::write()
{
    if (!buffer.empty() &&
        std::fwrite(buffer.data(), 1, buffer.size(), file.get()) != buffer.size())
        fail(lastError());
    buffer.clear();
}

void RecordingWriter::fail(const std::string& why) const
{
    throw std::runtime_error("cannot record to " + path + ": " + why);
}

ReplayEnd replay(const std::string& path, MonitorOutput& output,
                 const std::function<bool()>& wanted)
{
    constexpr std::size_t kEventsAtOnce = 1024;
    RecordingDecoder decoder;
    std::vector<MonitorEvent> events(kEventsAtOnce);
    Status status = Status::NeedsMore;
    ReplayEnd end;
    bool isWanted = true;
    readFile(path, decoder, [&] {
        do {
            std::size_t count = 0;
            while (count < events.size() && (status = decoder.next(events[count])) == Status::Event)
                ++count;
            end.events += count;
            if (count > 0)
                output.take(MonitorEvents(events.data(), count));
            isWanted = wanted();
        } while (isWanted && status == Status::Event);
        return isWanted && status == Status::NeedsMore;
    });
    if (status == Status::NotRecording)
        throw std::runtime_error("cannot read " + path + ": it is no recording of this version");
    if (isWanted && !decoder.isAtBoundary())
        end.ignoredBytes = decoder.fedBytes() - decoder.goodBytes();
    end.isDamaged = status == Status::Damaged;
    // Reading stopped there.
    std::error_code error;
    const std::uintmax_t fileBytes = std::filesystem::file_size(path, error);
    if (end.isDamaged && !error)
        end.ignoredBytes = std::max<u64>(end.ignoredBytes, fileBytes - decoder.goodBytes());
    return end;
}

} // namespace monitor
