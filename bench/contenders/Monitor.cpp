#include "bench/contenders/LineCounter.h"
#include "bench/contenders/Lines.h"

#include <dm/monitor.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <stdexcept>
#include <thread>

namespace bench {
namespace {

using Clock = std::chrono::steady_clock;

/// Far less than what the monitor's log holds, and enough that nobody runs dry.
constexpr uint64_t kLinesAhead = 24 * 1024;
constexpr uint64_t kStep = 1024;

constexpr uint64_t kMemoryLines = 10'000'000;

/// Counts the hellos of tools.
class Hellos : public dm::DataParserCallback
{
public:
    void parseData(const char*) override { ++count; }
    unsigned count = 0;
};

Hellos s_hellos;

/// Connects to a game and says hello, in bytes: a tool needs no library.
TcpStream connectTool(uint16_t gamePort)
{
    TcpStream stream = TcpStream::connect(gamePort);
    static constexpr char kHello[] = "\xD5\x7A\x65\0\x07\0\0\0\x02\0\0\0hi";
    stream.sendAll(kHello, sizeof kHello);
    return stream;
}

/// Finds lines in a stream of packets.
class LineFinder
{
public:
    uint64_t countIn(const char* bytes, size_t size)
    {
        uint64_t lines = 0;
        while (size > 0) {
            const size_t taken = std::min(size, needed - have);
            if (have < sizeof head)
                std::memcpy(head + have, bytes, std::min(taken, sizeof head - have));
            have += taken;
            bytes += taken;
            size -= taken;
            if (have == sizeof head) {
                uint32_t payloadBytes = 0;
                std::memcpy(&payloadBytes, head + 4, sizeof payloadBytes);
                needed = sizeof head + payloadBytes;
            }
            if (have == needed && have > sizeof head) {
                lines += head[2] == 1 ? 1 : 0;
                have = 0;
                needed = sizeof head;
            }
        }
        return lines;
    }

private:
    char head[8] = {};
    size_t have = 0;             // of the packet under way, its header included
    size_t needed = sizeof head; // until something is known about it
};

void receiveForEver(TcpStream stream, LineCounter* counter)
{
    std::vector<char> buffer(256 * 1024);
    LineFinder finder;
    for (;;) {
        const long received = stream.receiveSome(buffer.data(), buffer.size());
        if (received < 0)
            return;
        const uint64_t lines = finder.countIn(buffer.data(), static_cast<size_t>(received));
        if (counter)
            counter->count(lines);
    }
}

void serveCountingTool(const Setup& setup)
{
    TcpListener listener;
    TcpStream game = connectTool(setup.hubPort);
    announcePort(listener.port());
    LineCounter counter(listener);
    receiveForEver(std::move(game), &counter);
    std::this_thread::sleep_for(std::chrono::hours(1)); // until the starter lets go
}

void serveTools(const Setup& setup, bool reading)
{
    TcpListener listener;
    std::vector<TcpStream> stopped;
    for (unsigned tool = 0; tool < setup.pipes; ++tool) {
        TcpStream stream = connectTool(setup.hubPort);
        if (reading)
            std::thread(receiveForEver, std::move(stream), nullptr).detach();
        else
            stopped.push_back(std::move(stream));
    }
    announcePort(listener.port());
    std::this_thread::sleep_for(std::chrono::hours(1));
}

void serveGame(const Setup& setup)
{
    MonitoredGame game;
    announcePort(dm::getMonitorPort());
    game.awaitTools(setup.pipes);
    for (uint64_t line = 0; line < kMemoryLines; ++line) {
        dm::print("%0*llu%s", static_cast<int>(kLineNumberDigits),
                  static_cast<unsigned long long>(line), kLineText);
        if (line % 1000 == 0)
            dm::update();
    }
    const TcpStream done = TcpStream::connect(setup.hubPort);
    std::this_thread::sleep_for(std::chrono::hours(1));
}

class MonitorPrinter : public LinePrinter
{
public:
    MonitorPrinter()
        : tool(game.startTools(monitorCounter(), 1))
        , count(tool.port())
    {
        game.awaitTools(1);
    }

    void print(uint64_t number) override
    {
        if (printed % kStep == 0 && printed > kLinesAhead)
            count.await(printed - kLinesAhead);
        dm::print("%0*llu%s", static_cast<int>(kLineNumberDigits),
                  static_cast<unsigned long long>(number), kLineText);
        ++printed;
    }

    void finish() override { count.await(printed); }

private:
    MonitoredGame game;
    ServerProcess tool;
    LineCount count;
    uint64_t printed = 0;
};

} // namespace

MonitoredGame::MonitoredGame()
{
    dm::setDataParserCallback(&s_hellos);
    dm::init(0);
}

MonitoredGame::~MonitoredGame()
{
    dm::deinit();
    dm::setDataParserCallback(nullptr);
}

void MonitoredGame::awaitTools(unsigned count)
{
    const Clock::time_point deadline = Clock::now() + std::chrono::seconds(10);
    while (s_hellos.count < count) {
        if (Clock::now() > deadline)
            throw std::runtime_error("the tools do not come");
        dm::update();
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    s_hellos.count = 0;
}

ServerProcess MonitoredGame::startTools(const RequestContender& tools, unsigned count)
{
    Setup setup;
    setup.hubPort = static_cast<uint16_t>(dm::getMonitorPort());
    setup.pipes = count;
    return startServer(tools, setup);
}

LineContender monitorLines()
{
    return {"dm", [] { return std::unique_ptr<LinePrinter>(new MonitorPrinter); }};
}

RequestContender monitorCounter() { return {"monitor-counter", serveCountingTool, nullptr}; }

RequestContender monitorReaders()
{
    return {"monitor-readers", [](const Setup& setup) { serveTools(setup, true); }, nullptr};
}

RequestContender monitorStoppers()
{
    return {"monitor-stoppers", [](const Setup& setup) { serveTools(setup, false); }, nullptr};
}

RequestContender monitorGame() { return {"monitor-game", serveGame, nullptr}; }

} // namespace bench
