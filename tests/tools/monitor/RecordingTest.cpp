#include "tools/monitor/Recording.h"

#include "support/SourceTree.h"
#include "tools/monitor/Events.h"
#include "zul/FileFixture.h"

using monitor::MonitorEvent;
using monitor::RecordingDecoder;

namespace {

std::string encode(const std::vector<MonitorEvent>& events)
{
    std::string bytes = monitor::recordingHead();
    for (const MonitorEvent& event : events)
        monitor::appendRecord(bytes, event);
    return bytes;
}

/// The texts of the events that it gives for these bytes.
std::vector<std::string> decode(RecordingDecoder& decoder, const std::string& bytes)
{
    decoder.feed({reinterpret_cast<const zu::u8*>(bytes.data()), bytes.size()});
    std::vector<std::string> texts;
    MonitorEvent event;
    while (decoder.next(event) == RecordingDecoder::Status::Event)
        texts.push_back(event.text);
    return texts;
}

class Recording : public FileFixture, public monitor::MonitorOutput
{
protected:
    void take(monitor::MonitorEvents taken) override
    {
        kept.insert(kept.end(), taken.begin(), taken.end());
    }

    monitor::ReplayEnd replay()
    {
        kept.clear();
        return monitor::replay(path, *this, [] { return true; });
    }

    const std::string path = at("recording");
    std::vector<MonitorEvent> kept;
};

} // namespace

TEST(RecordingDecoder, ReadsWhatIsDocumented)
{
    const std::string documented = support::documentedFrames("monitor.md")["Recording"];
    EXPECT_EQ(encode({textEvent("hello")}), documented);
    RecordingDecoder decoder;
    EXPECT_THAT(decode(decoder, documented), testing::ElementsAre("hello"));
}

TEST(RecordingDecoder, GivesAllThatIsWholeBeforeACutOrDamageAndNothingElse)
{
    const std::string first = encode({textEvent("first")});
    const std::string both = encode({textEvent("first"), textEvent("second")});
    for (size_t size = 0; size < both.size(); ++size) {
        RecordingDecoder cut;
        ASSERT_EQ(decode(cut, both.substr(0, size)).size(), size < first.size() ? 0u : 1u) << size;
        MonitorEvent event;
        ASSERT_EQ(cut.next(event), RecordingDecoder::Status::NeedsMore) << size;
    }
    for (size_t place = 0; place < both.size(); ++place) {
        std::string damaged = both;
        damaged[place] = static_cast<char>(damaged[place] ^ 0x41);
        RecordingDecoder read;
        const bool isFirstWhole = place >= first.size();
        ASSERT_EQ(decode(read, damaged).size(), isFirstWhole ? 1u : 0u) << place;
        ASSERT_EQ(read.goodBytes(), isFirstWhole ? first.size() : place < 8 ? 0 : 8);
    }
}

TEST_F(Recording, ReplaysEveryKindAsItWas)
{
    std::vector<MonitorEvent> events;
    for (const Kind kind : {Kind::Connected, Kind::Lost, Kind::Unreachable, Kind::NotAMonitor,
                            Kind::Text, Kind::Value, Kind::Profile, Kind::LostLines})
        events.push_back(eventOf(kind, std::string(70000, '\0'), "frame"));
    events[5].group = -1;
    events[7].lostLines = 1ull << 40;
    monitor::RecordingWriter(path).take(events);
    EXPECT_EQ(replay().events, events.size());
    EXPECT_EQ(encode(kept), encode(events));
    EXPECT_EQ(kept[4].channel, 2);
    EXPECT_EQ(kept[5].group, -1);
    EXPECT_EQ(kept[6].profile->size(), 70000u);
}

TEST_F(Recording, GoesOnBehindTheLastWholeRecordOfAFileThatIsThere)
{
    const std::string whole = encode({textEvent("before")});
    make("recording", whole + "cut");
    EXPECT_EQ(replay().ignoredBytes, 3u);
    {
        monitor::RecordingWriter writer(path);
        EXPECT_EQ(writer.removedBytes(), 3u);
        const MonitorEvent event = textEvent("after");
        writer.take({&event, 1});
        EXPECT_EQ(replay().events, 2u) << "while the writer is still there";
    }
    EXPECT_EQ(kept[1].text, "after");
    make("recording", "dmw"); // killed at once
    monitor::RecordingWriter(path).take(kept);
    EXPECT_EQ(replay().events, 2u);
}

TEST_F(Recording, LeavesAloneWhatItCannotGoOnWith)
{
    std::string damaged = encode({textEvent("x"), textEvent("y")});
    damaged[20] ^= 1;
    for (const std::string& bytes : {std::string("no recording"), damaged}) {
        make("recording", bytes);
        EXPECT_THROW(monitor::RecordingWriter writer(path), std::runtime_error);
        EXPECT_EQ(std::filesystem::file_size(path), bytes.size());
    }
    EXPECT_TRUE(replay().isDamaged);
    make("recording", "no recording");
    EXPECT_THROW(replay(), std::runtime_error);
    EXPECT_THROW(monitor::RecordingWriter("/"), std::runtime_error);
}
