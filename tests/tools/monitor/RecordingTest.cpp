#include "tools/monitor/Recording.h"

#include "support/SourceTree.h"
#include "zul/FileFixture.h"

using monitor::MonitorEvent;
using monitor::RecordingDecoder;
using Kind = MonitorEvent::Kind;
using namespace std::chrono_literals;

namespace {

MonitorEvent textEvent(const std::string& text)
{
    MonitorEvent event;
    event.time = 200ms;
    event.wallClock = 1795288000s;
    event.channel = 2;
    event.text = text;
    return event;
}

std::vector<MonitorEvent> oneOfEach()
{
    std::vector<MonitorEvent> events;
    for (int kind = static_cast<int>(Kind::Connected); kind <= static_cast<int>(Kind::LostLines);
         ++kind)
    {
        MonitorEvent& event = events.emplace_back(textEvent("why"));
        event.kind = static_cast<Kind>(kind);
        event.group = -1;
        event.name = "frame";
        event.lostLines = 1ull << 40;
        if (event.kind == Kind::Profile)
            event.profile = std::make_shared<const std::vector<zu::u8>>(70000, '\0');
    }
    return events;
}

std::string encode(const std::vector<MonitorEvent>& events)
{
    std::string bytes = monitor::recordingHead();
    for (const MonitorEvent& event : events)
        monitor::appendRecord(bytes, event);
    return bytes;
}

struct Decoded
{
    std::vector<std::string> texts;
    RecordingDecoder::Status status = RecordingDecoder::Status::Event;
    zu::u64 goodBytes = 0;
};

Decoded decode(const std::string& bytes)
{
    RecordingDecoder decoder;
    decoder.feed({reinterpret_cast<const zu::u8*>(bytes.data()), bytes.size()});
    Decoded result;
    MonitorEvent event;
    while ((result.status = decoder.next(event)) == RecordingDecoder::Status::Event)
        result.texts.push_back(event.text);
    result.goodBytes = decoder.goodBytes();
    return result;
}

class Kept : public monitor::MonitorOutput
{
public:
    void take(monitor::MonitorEvents taken) override
    {
        events.insert(events.end(), taken.begin(), taken.end());
    }

    std::vector<MonitorEvent> events;
};

class Recording : public FileFixture
{
protected:
    void write(const std::string& bytes) const
    {
        std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
    }

    monitor::ReplayEnd replay()
    {
        kept.events.clear();
        return monitor::replay(path, kept, [] { return true; });
    }

    const std::string path = at("recording");
    Kept kept;
};

} // namespace

TEST(RecordingDecoder, ReadsWhatIsDocumented)
{
    const std::string documented = support::documentedFrames("monitor.md")["Recording"];
    EXPECT_EQ(encode({textEvent("hello")}), documented);
    EXPECT_THAT(decode(documented).texts, testing::ElementsAre("hello"));
}

TEST(RecordingDecoder, GivesAllThatIsWholeBeforeACutOrDamageAndNothingElse)
{
    const std::string first = encode({textEvent("first")});
    const std::string both = encode({textEvent("first"), textEvent("second")});
    for (size_t size = 0; size < both.size(); ++size) {
        const Decoded cut = decode(both.substr(0, size));
        ASSERT_EQ(cut.status, RecordingDecoder::Status::NeedsMore) << size;
        ASSERT_EQ(cut.texts.size(), size < first.size() ? 0u : 1u) << size;
    }
    for (size_t place = 0; place < both.size(); ++place) {
        std::string damaged = both;
        damaged[place] = static_cast<char>(damaged[place] ^ 0x41);
        const Decoded read = decode(damaged);
        ASSERT_EQ(read.texts.size(), place < first.size() ? 0u : 1u) << place;
        ASSERT_EQ(read.goodBytes, read.texts.empty() ? (place < 8 ? 0 : 8) : first.size());
    }
}

TEST_F(Recording, ReplaysEveryKindAsItWas)
{
    const std::vector<MonitorEvent> events = oneOfEach();
    monitor::RecordingWriter(path).take(events);
    EXPECT_EQ(replay().events, events.size());
    EXPECT_EQ(encode(kept.events), encode(events));
    EXPECT_EQ(kept.events[4].channel, 2);
    EXPECT_EQ(kept.events[5].group, -1);
    EXPECT_EQ(kept.events[6].profile->size(), 70000u);
}

TEST_F(Recording, GoesOnBehindTheLastWholeRecordOfAFileThatIsThere)
{
    const std::string whole = encode({textEvent("before")});
    write(whole + "cut");
    EXPECT_EQ(replay().ignoredBytes, 3u);
    {
        monitor::RecordingWriter writer(path);
        EXPECT_EQ(writer.removedBytes(), 3u);
        const MonitorEvent event = textEvent("after");
        writer.take({&event, 1});
        EXPECT_EQ(replay().events, 2u) << "while the writer is still there";
    }
    EXPECT_EQ(kept.events[1].text, "after");
    write("dmw"); // killed at once
    monitor::RecordingWriter(path).take(kept.events);
    EXPECT_EQ(replay().events, 2u);
}

TEST_F(Recording, LeavesAloneWhatItCannotGoOnWith)
{
    std::string damaged = encode({textEvent("x"), textEvent("y")});
    damaged[20] ^= 1;
    for (const std::string& bytes : {std::string("no recording"), damaged}) {
        write(bytes);
        EXPECT_THROW(monitor::RecordingWriter writer(path), std::runtime_error);
        EXPECT_EQ(std::filesystem::file_size(path), bytes.size());
    }
    EXPECT_TRUE(replay().isDamaged);
    write("no recording");
    EXPECT_THROW(replay(), std::runtime_error);
    EXPECT_THROW(monitor::RecordingWriter("/"), std::runtime_error);
}
