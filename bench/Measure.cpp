#include "bench/Measure.h"

#include "bench/contenders/Deliveries.h"

#include <algorithm>
#include <atomic>
#include <barrier>
#include <cstdio>
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

/// Reorders `values`, of which there must be some.
double percentile(std::vector<float>& values, size_t percent)
{
    const auto rank = values.begin() + static_cast<long>(values.size() * percent / 100);
    std::nth_element(values.begin(), rank, values.end());
    return static_cast<double>(*rank);
}

/// The times of round trips in microseconds, asked until the time is over, at least one.
std::vector<float> timesFor(Client& client, const Setup& setup, double seconds)
{
    std::vector<float> times;
    std::vector<char> answer(setup.answerBytes);
    const Clock::time_point end = Clock::now() + duration(seconds);
    Clock::time_point start = Clock::now();
    do {
        start = Clock::now();
        askOnce(client, answer, setup);
        times.push_back(static_cast<float>(secondsSince(start) * 1e6));
    } while (Clock::now() < end);
    return times;
}

/// The share of a core that the process uses from now on.
double loadOf(const ServerProcess& server, const Settings& settings)
{
    constexpr double kLeastSeconds = 5;
    constexpr double kSettlingSeconds = 0.5;
    std::this_thread::sleep_for(duration(kSettlingSeconds));
    const double before = server.cpuSeconds();
    const Clock::time_point start = Clock::now();
    std::this_thread::sleep_for(duration(std::max(settings.seconds, kLeastSeconds)));
    return (server.cpuSeconds() - before) / secondsSince(start);
}

// Descriptors that a client of any contender uses at most.
constexpr unsigned kDescriptorsPerClient = 16;
constexpr unsigned kOwnDescriptors = 200;

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

double deliveriesPerSecond(const FanOutContender& contender, const Settings& settings,
                           unsigned members)
{
    raiseDescriptorLimit(members * kDescriptorsPerClient + kOwnDescriptors);
    const ServerProcess server = startServer(contender, Setup{});
    Deliveries deliveries(members);
    const auto fanOut = contender.join(server.port(), deliveries);
    const auto sendFor = [&](double seconds) {
        const Clock::time_point end = Clock::now() + duration(seconds);
        uint64_t count = 0;
        do {
            deliveries.awaitRoom();
            for (uint64_t i = 0; i < Deliveries::kStep; ++i)
                fanOut->send();
            count += Deliveries::kStep;
        } while (Clock::now() < end);
        deliveries.awaitAll();
        return static_cast<double>(count * members);
    };
    sendFor(settings.warmUpSeconds);
    const Clock::time_point start = Clock::now();
    const double count = sendFor(settings.seconds);
    return count / secondsSince(start);
}

double worstTail(const RequestContender& contender, const Setup& setup, const Settings& settings)
{
    const ServerProcess server = startServer(contender, setup);
    const auto connection = contender.connect(server.port(), setup);
    std::vector<std::vector<float>> times(setup.members);
    std::barrier warm(setup.members);
    const auto ask = [&](unsigned index) {
        const auto client = connection->makeClient(index);
        askFor(*client, setup, settings.warmUpSeconds);
        warm.arrive_and_wait();
        times[index] = timesFor(*client, setup, settings.seconds);
    };
    std::vector<std::thread> askers;
    for (unsigned index = 0; index < setup.members; ++index)
        askers.emplace_back(ask, index);
    for (std::thread& asker : askers)
        asker.join();

    double worst = 0;
    std::fprintf(stderr, "  %s: p50/p99 us of each member:", contender.name.c_str());
    for (std::vector<float>& own : times) {
        const double median = percentile(own, 50);
        const double tail = percentile(own, 99);
        worst = std::max(worst, tail / median);
        std::fprintf(stderr, " %.0f/%.0f", median, tail);
    }
    std::fprintf(stderr, "\n");
    return worst;
}

double p99Microseconds(const RequestContender& contender, const Setup& setup,
                       const Settings& settings, unsigned idleConnections)
{
    raiseDescriptorLimit(idleConnections + kOwnDescriptors);
    const ServerProcess server = startServer(contender, setup);
    const auto connection = contender.connect(server.port(), setup);
    const auto client = connection->makeClient(0);
    const std::vector<TcpStream> idle = openIdle(server.port(), idleConnections);
    // One accept a pass is enough for a server of ours, so give it the passes that it needs.
    askFor(*client, setup, std::max(settings.warmUpSeconds, 0.5));

    std::vector<float> times = timesFor(*client, setup, settings.seconds);
    return percentile(times, 99);
}

double idleServerLoad(const RequestContender& contender, const Setup& setup,
                      const Settings& settings, unsigned clients)
{
    raiseDescriptorLimit(clients * kDescriptorsPerClient + kOwnDescriptors);
    const ServerProcess server = startServer(contender, setup);
    std::vector<std::unique_ptr<Connection>> connections;
    std::vector<std::unique_ptr<Client>> ends;
    std::vector<char> answer(setup.answerBytes);
    for (unsigned index = 0; index < clients; ++index) {
        connections.push_back(contender.connect(server.port(), setup));
        ends.push_back(connections.back()->makeClient(index));
        askOnce(*ends.back(), answer, setup);
    }
    const double load = loadOf(server, settings);
    ends.clear();
    return load;
}

double idleHubLoad(const RequestContender& contender, const Setup& setup, const Settings& settings)
{
    raiseDescriptorLimit(setup.members * kDescriptorsPerClient + kOwnDescriptors);
    const ServerProcess server = startServer(contender, setup);
    const auto connection = contender.connect(server.port(), setup);
    return loadOf(server, settings);
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
