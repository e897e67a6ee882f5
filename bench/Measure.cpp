#include "bench/Measure.h"

#include <algorithm>
#include <atomic>
#include <stdexcept>
#include <thread>

namespace bench {
namespace {

using Clock = std::chrono::steady_clock;

Clock::duration duration(double seconds)
{
    return std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds));
}

double secondsSince(Clock::time_point start)
{
    return std::chrono::duration<double>(Clock::now() - start).count();
}

void askOnce(Client& client, std::vector<char>& answer, const Setup& setup)
{
    if (client.ask(answer) != setup.answerBytes)
        throw std::runtime_error("an answer of the wrong size");
}

/// Asks until the time is over, at least once; returns how often.
double askFor(Client& client, const Setup& setup, double seconds)
{
    std::vector<char> answer(setup.answerBytes);
    const Clock::time_point end = Clock::now() + duration(seconds);
    double count = 0;
    do {
        askOnce(client, answer, setup);
        ++count;
    } while (Clock::now() < end);
    return count;
}

std::vector<TcpStream> openIdle(uint16_t port, unsigned count)
{
    std::vector<TcpStream> streams;
    for (unsigned i = 0; i < count; ++i)
        streams.push_back(TcpStream::connect(port));
    return streams;
}

} // namespace

double roundTripsPerSecond(const RequestContender& contender, const Setup& setup,
                           const Settings& settings)
{
    const ServerProcess server = startServer(contender, setup);
    const auto connection = contender.connect(server.port(), setup);
    const auto client = connection->makeClient(0);
    askFor(*client, setup, settings.warmUpSeconds);
    const Clock::time_point start = Clock::now();
    const double count = askFor(*client, setup, settings.seconds);
    return count / secondsSince(start);
}

double roundTripsPerSecond(const RequestContender& contender, const Setup& setup,
                           const Settings& settings, unsigned threads)
{
    const ServerProcess server = startServer(contender, setup);
    const auto connection = contender.connect(server.port(), setup);
    std::atomic<unsigned> counted{0};
    std::atomic<bool> counting{false};
    std::atomic<bool> stopping{false};
    std::atomic<uint64_t> total{0};
    const auto ask = [&](unsigned index) {
        const auto client = connection->makeClient(index);
        std::vector<char> answer(setup.answerBytes);
        uint64_t own = 0;
        askOnce(*client, answer, setup);
        for (++counted; !stopping; askOnce(*client, answer, setup))
            own += counting ? 1 : 0;
        total += own;
    };
    std::vector<std::thread> askers;
    for (unsigned index = 0; index < threads; ++index)
        askers.emplace_back(ask, index);
    while (counted < threads)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    std::this_thread::sleep_for(duration(settings.warmUpSeconds));
    const Clock::time_point start = Clock::now();
    counting = true;
    std::this_thread::sleep_for(duration(settings.seconds));
    counting = false;
    const double seconds = secondsSince(start);
    stopping = true;
    for (std::thread& asker : askers)
        asker.join();
    return static_cast<double>(total) / seconds;
}

double megabytesPerSecond(const RequestContender& contender, const Setup& setup,
                          const Settings& settings)
{
    return roundTripsPerSecond(contender, setup, settings) *
           static_cast<double>(setup.answerBytes) / 1e6;
}

double notificationsPerSecond(const NotifyContender& contender, const Setup& setup,
                              const Settings& settings)
{
    const ServerProcess server = startServer(contender, setup);
    const auto notifier = contender.connect(server.port(), setup);
    const auto sendFor = [&](double seconds) {
        const Clock::time_point end = Clock::now() + duration(seconds);
        double count = 1; // the last one, which finish() sends
        do {
            for (int i = 0; i < 64; ++i)
                notifier->notify();
            count += 64;
        } while (Clock::now() < end);
        notifier->finish();
        return count;
    };
    sendFor(settings.warmUpSeconds);
    const Clock::time_point start = Clock::now();
    const double count = sendFor(settings.seconds);
    return count / secondsSince(start);
}

double p99Microseconds(const RequestContender& contender, const Setup& setup,
                       const Settings& settings, unsigned idleConnections)
{
    raiseDescriptorLimit(idleConnections + 200);
    const ServerProcess server = startServer(contender, setup);
    const auto connection = contender.connect(server.port(), setup);
    const auto client = connection->makeClient(0);
    const std::vector<TcpStream> idle = openIdle(server.port(), idleConnections);
    // One accept a pass is enough for a server of ours, so give it the passes that it needs.
    askFor(*client, setup, std::max(settings.warmUpSeconds, 0.5));

    std::vector<float> times;
    std::vector<char> answer(setup.answerBytes);
    for (const Clock::time_point begin = Clock::now(); secondsSince(begin) < settings.seconds;) {
        const Clock::time_point start = Clock::now();
        askOnce(*client, answer, setup);
        times.push_back(static_cast<float>(secondsSince(start) * 1e6));
    }
    const auto rank = times.begin() + static_cast<long>(times.size() * 99 / 100);
    std::nth_element(times.begin(), rank, times.end());
    return static_cast<double>(*rank);
}

double idleServerLoad(const RequestContender& contender, const Setup& setup,
                      const Settings& settings, unsigned clients)
{
    constexpr double kLeastSeconds = 5;
    constexpr double kSettlingSeconds = 0.5;
    raiseDescriptorLimit(clients * 16 + 200);
    const ServerProcess server = startServer(contender, setup);
    std::vector<std::unique_ptr<Connection>> connections;
    std::vector<std::unique_ptr<Client>> ends;
    std::vector<char> answer(setup.answerBytes);
    for (unsigned index = 0; index < clients; ++index) {
        connections.push_back(contender.connect(server.port(), setup));
        ends.push_back(connections.back()->makeClient(index));
        askOnce(*ends.back(), answer, setup);
    }
    std::this_thread::sleep_for(duration(kSettlingSeconds));
    const double before = server.cpuSeconds();
    const Clock::time_point start = Clock::now();
    std::this_thread::sleep_for(duration(std::max(settings.seconds, kLeastSeconds)));
    const double load = (server.cpuSeconds() - before) / secondsSince(start);
    ends.clear();
    return load;
}

void askTimes(const RequestContender& contender, const Setup& setup, unsigned count)
{
    const ServerProcess server = startServer(contender, setup);
    const auto connection = contender.connect(server.port(), setup);
    const auto client = connection->makeClient(0);
    std::vector<char> answer(setup.answerBytes);
    for (unsigned i = 0; i < count; ++i)
        askOnce(*client, answer, setup);
}

Contender measured(const RequestContender& contender, const Setup& setup,
                   double (*measure)(const RequestContender&, const Setup&, const Settings&))
{
    return {contender.name,
            [=](const Settings& settings) { return measure(contender, setup, settings); }};
}

} // namespace bench
