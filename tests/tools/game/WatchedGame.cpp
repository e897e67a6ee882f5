// A game with nothing but a debug monitor, for the tests of what watches it: 100 frames a second,
// three threads.
//
//   dm_watched_game [PORT]
//
// The first line on standard output tells the address: "playing on 127.0.0.1:PORT".
//
// It prints a line a second on channel 0, and values in three groups. Request 0 has it send a
// profile, 1 load a level (a line on channel 1). What tools send as data:
//
//   say TEXT     prints the text on channel 2
//   lines COUNT  prints so many lines on channel 3 at once, "line 1" and so on
//   rate COUNT   prints so many lines a second, whole hundreds, on channel 3 from here on

#include <dm/monitor.h>
#include <zul/Interrupt.h>
#include <zul/Profile.h>
#include <zul/Thread.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string_view>
#include <thread>
#include <vector>

namespace {

constexpr zu::u32 kFrameMs = 10;
constexpr zu::u32 kFramesPerSecond = 1000 / kFrameMs;

// Something that takes about so long, as games do.
void work(int microseconds)
{
    const auto end = std::chrono::steady_clock::now() + std::chrono::microseconds(microseconds);
    while (std::chrono::steady_clock::now() < end) {
    }
}

class Game : public dm::DataParserCallback
{
public:
    Game()
    {
        d::Profile::ThreadProfiler::setRecording(true);
        zu::setThreadName(zu::currentThreadId(), "game");
        dm::setDataParserCallback(this);
        for (const char* const name : {"loader", "physics"})
            threads.emplace_back([this, name] { help(name); });
    }

    ~Game() override
    {
        dm::setDataParserCallback(nullptr);
        isOver = true;
        for (std::thread& thread : threads)
            thread.join();
    }

    void parseData(const char* data) override
    {
        const std::string_view text = data;
        if (text.substr(0, 4) == "say ")
            dm::print(2, "%s", data + 4);
        else if (text.substr(0, 6) == "lines ")
            printLines(std::strtoul(data + 6, nullptr, 10));
        else if (text.substr(0, 5) == "rate ")
            linesPerSecond = std::strtoul(data + 5, nullptr, 10);
    }

    void playFrame()
    {
        ZUL_PROFILE_FRAME();
        ZUL_PROFILE_ZONE("frame");
        dm::update();
        if (dm::checkAndClearRequest(0))
            dm::createProfilePacket();
        if (dm::checkAndClearRequest(1))
            dm::print(1, "loading level %d", ++level);
        report();
        ++frame;
        ZUL_PROFILE_ZONE("simulate");
        work(500);
        ZUL_PROFILE_ZONE("collide");
        work(400);
    }

private:
    void report()
    {
        if (frame % kFramesPerSecond == 0)
            dm::print("second %u", frame / kFramesPerSecond);
        printLines(linesPerSecond / kFramesPerSecond);
        dm::printInPlace(dm::EngineStatistics, "frame", "%u", frame);
        dm::printInPlace(dm::EngineStatistics, "frame ms", "%.2f", 1.0 + 0.01 * (frame % 40));
        if (frame % 10 == 0) {
            dm::printInPlace(dm::StreamingStatistics, "bytes loaded", "%u", frame * 4096);
            dm::printInPlace("level", "%d", level);
        }
    }

    void printLines(unsigned long count)
    {
        for (; count > 0; --count)
            dm::print(3, "line %lu", ++lines);
    }

    void help(const char* name) const
    {
        zu::setThreadName(zu::currentThreadId(), name);
        for (; !isOver; std::this_thread::sleep_for(std::chrono::milliseconds(kFrameMs))) {
            ZUL_PROFILE_ZONE("job");
            work(400);
        }
    }

    std::atomic<bool> isOver{false};
    zu::u32 frame = 0;
    int level = 1;
    unsigned long lines = 0;
    unsigned long linesPerSecond = 0;
    std::vector<std::thread> threads; // last: they use the above
};

} // namespace

int main(int argc, char** argv)
{
    dm::init(argc > 1 ? std::atoi(argv[1]) : 0);
    std::printf("playing on 127.0.0.1:%u\n", dm::getMonitorPort());
    std::fflush(stdout);
    {
        Game game;
        while (!zu::Interrupt::get().waitFor(kFrameMs))
            game.playFrame();
    }
    dm::deinit();
    return 0;
}
