#include "bench/contenders/LineCounter.h"
#include "bench/contenders/Lines.h"

#include <algorithm>
#include <spdlog/sinks/tcp_sink.h>
#include <spdlog/spdlog.h>
#include <thread>

namespace bench {
namespace {

/// The first connection is the one that asks for counts, the second the logger's.
void serveReceiver(const Setup&)
{
    TcpListener listener;
    announcePort(listener.port());
    LineCounter counter(listener);
    TcpStream lines = listener.accept();
    std::vector<char> buffer(256 * 1024);
    for (long received = 0; received >= 0;) {
        received = lines.receiveSome(buffer.data(), buffer.size());
        if (received > 0)
            counter.count(
                static_cast<uint64_t>(std::count(buffer.begin(), buffer.begin() + received, '\n')));
    }
    std::this_thread::sleep_for(std::chrono::hours(1)); // until the starter lets go
}

class SpdlogPrinter : public LinePrinter
{
public:
    SpdlogPrinter()
        : receiver(startServer(spdlogReceiver(), {}))
        , count(receiver.port())
        , logger("game", std::make_shared<spdlog::sinks::tcp_sink_mt>(
                             spdlog::sinks::tcp_sink_config("127.0.0.1", receiver.port())))
    {
        logger.set_pattern("%v"); // the line and nothing else, as ours
        logger.set_error_handler(
            [](const std::string& error) { throw std::runtime_error("spdlog: " + error); });
    }

    void print(uint64_t number) override
    {
        logger.info("{:0{}}{}", number, kLineNumberDigits, kLineText);
        ++printed;
    }

    void finish() override { count.await(printed); }

private:
    ServerProcess receiver;
    LineCount count;
    spdlog::logger logger;
    uint64_t printed = 0;
};

} // namespace

LineContender spdlogLines()
{
    return {"spdlog", [] { return std::unique_ptr<LinePrinter>(new SpdlogPrinter); }};
}

RequestContender spdlogReceiver() { return {"spdlog-receiver", serveReceiver, nullptr}; }

} // namespace bench
