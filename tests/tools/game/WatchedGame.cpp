// A game with nothing but a debug monitor, for the tests of what watches it: 100 frames a second,
// three threads.
//
//   dm_watched_game [PORT]
//
// The first line on standard output tells the address: "playing on 127.0.0.1:PORT".
//
// It prints a line a second on channel 0, and values in three groups. Request 0 has it send a
// profile, 1 load a level (lines on channel 1) and 2 end the game. What tools send as data:
//
//   say TEXT     prints the text on channel 2
//   lines COUNT  prints so many lines on channel 3 at once, "line 1" and so on
//   rate COUNT   prints so many lines a second on channel 3 from here on, 0 for none

#include <dm/monitor.h>
#include <zul/Interrupt.h>
#include <zul/Profile.h>
#include <zul/Thread.h>

#include <atomic>
#include <charconv>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace {

constexpr zu::u32 kFrameMs = 10;

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

    void play()
    {
        zu::Interrupt& interrupt = zu::Interrupt::get();
        for (; !isOver && !interrupt.isRaised(); ++frame) {
            playFrame();
            interrupt.waitFor(kFrameMs);
        }
        dm::print("the game is over after %u frames", frame);
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

private:
    void playFrame()
    {
        ZUL_PROFILE_FRAME();
        ZUL_PROFILE_ZONE("frame");
        {
            ZUL_PROFILE_ZONE("monitor");
            dm::update();
            serveRequests();
        }
        {
            ZUL_PROFILE_ZONE("simulate");
            work(300);
            {
                ZUL_PROFILE_ZONE("collide");
                work(200);
            }
        }
        {
            ZUL_PROFILE_ZONE("draw");
            work(400);
        }
        report();
    }

    void serveRequests()
    {
        if (dm::checkAndClearRequest(0))
            dm::createProfilePacket();
        if (dm::checkAndClearRequest(1)) {
            dm::print(1, "loading level %d", ++level);
            dm::print(1, "level %d is there", level);
        }
        if (dm::checkAndClearRequest(2))
            isOver = true;
    }

    void report()
    {
        constexpr zu::u32 kFramesPerSecond = 1000 / kFrameMs;
        if (frame % kFramesPerSecond == 0)
            dm::print("second %u", frame / kFramesPerSecond);
        printLines(linesPerSecond * (frame % kFramesPerSecond + 1) / kFramesPerSecond -
                   linesPerSecond * (frame % kFramesPerSecond) / kFramesPerSecond);
        dm::printInPlace(dm::EngineStatistics, "frame", "%u", frame);
        dm::printInPlace(dm::EngineStatistics, "frame ms", "%.2f",
                         1.0 + 0.2 * std::sin(frame * 0.05));
        if (frame % 10 == 0)
            dm::printInPlace(dm::StreamingStatistics, "bytes loaded", "%u", frame * 4096);
        if (frame % kFramesPerSecond == 0)
            dm::printInPlace("level", "%d", level);
    }

    void printLines(unsigned long count)
    {
        for (; count > 0; --count)
            dm::print(3, "line %lu", ++lines);
    }

    void help(const char* name) const
    {
        zu::setThreadName(zu::currentThreadId(), name);
        while (!isOver) {
            {
                ZUL_PROFILE_ZONE("job");
                work(200);
                ZUL_PROFILE_ZONE("part of a job");
                work(200);
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(kFrameMs));
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
    const std::string_view portText = argc == 2 ? argv[1] : "0";
    int port = -1;
    std::from_chars(portText.data(), portText.data() + portText.size(), port);
    if (argc > 2 || port < 0 || port > 65535) {
        std::fprintf(stderr, "usage: dm_watched_game [PORT]\n");
        return 2;
    }
    dm::init(port);
    if (dm::getMonitorPort() == 0)
        return 3; // dm has said why
    std::printf("playing on 127.0.0.1:%u\n", dm::getMonitorPort());
    std::fflush(stdout);
    Game().play();
    dm::deinit();
    return 0;
}
