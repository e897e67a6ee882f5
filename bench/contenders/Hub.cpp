#include "bench/contenders/Deliveries.h"
#include "bench/contenders/DmEnds.h"

#include <dm/jobs.h>
#include <zul/Yield.h>

#include <stdexcept>

namespace bench {
namespace {

constexpr const char* kName = "dm-hub";

void serveHub(const Setup& setup)
{
    zu::setYieldMicroseconds(setup.yieldMicroseconds);
    dm::setLogSink([](const char*) {}); // standard output is for the port
    dm::BroadcastServer hub("hub", 0);
    announcePort(static_cast<unsigned>(hub.getPort()));
    zu::Event::create().wait(); // never raised
}

/// A member in a process of its own that answers.
void serveMember(const Setup& setup)
{
    ClientManager manager(setup.hubPort, setup);
    Answerer answerer(manager.pipe(0), setup.answerBytes);
    manager.awaitPipe();
    announcePort(setup.hubPort);
    zu::Event::create().wait(); // never raised
}

using Members = std::vector<std::unique_ptr<ClientManager>>;

Members join(uint16_t port, const Setup& setup, unsigned count)
{
    Members members;
    for (unsigned i = 0; i < count; ++i) {
        members.push_back(std::make_unique<ClientManager>(port, setup));
        members.back()->pipe(0);
    }
    for (const auto& member : members)
        member->awaitPipe();
    return members;
}

/// The asker is the hub's first member, and a process that joins after it the second.
class ForwardConnection : public Connection
{
public:
    ForwardConnection(uint16_t port, const Setup& setup)
        : asker(std::move(join(port, setup, 1).front()))
        , answerer(startAnswerer(port, setup))
    {
    }

    std::unique_ptr<Client> makeClient(unsigned) override
    {
        constexpr unsigned kAnswererNumber = 1;
        return std::make_unique<DmClient>(asker->pipe(0), kAnswererNumber);
    }

private:
    static ServerProcess startAnswerer(uint16_t hubPort, Setup setup)
    {
        setup.hubPort = hubPort;
        return startServer(hubMember(), setup);
    }

    std::unique_ptr<ClientManager> asker;
    ServerProcess answerer;
};

/// Asks the members of the given numbers in turn.
class MeshClient : public DmClient
{
public:
    MeshClient(dm::CommunicationPipe* asked, std::vector<unsigned> askedNumbers)
        : DmClient(asked)
        , numbers(std::move(askedNumbers))
    {
    }

    size_t ask(std::span<char> answer) override
    {
        number = numbers[next];
        next = (next + 1) % numbers.size();
        return DmClient::ask(answer);
    }

private:
    std::vector<unsigned> numbers;
    size_t next = 0;
};

/// All members in this process, each with an answering thread.
class MeshConnection : public Connection
{
public:
    MeshConnection(uint16_t port, const Setup& setup)
        : members(join(port, setup, setup.members))
    {
        for (const auto& member : members)
            answerers.push_back(std::make_unique<Answerer>(member->pipe(0), setup.answerBytes));
    }

    /// Member `index`, which begins with the one after it.
    std::unique_ptr<Client> makeClient(unsigned index) override
    {
        std::vector<unsigned> numbers;
        for (size_t distance = 1; distance < members.size(); ++distance)
            numbers.push_back(members[(index + distance) % members.size()]->numberOfOtherEnd());
        return std::make_unique<MeshClient>(members[index]->pipe(0), std::move(numbers));
    }

private:
    Members members;
    std::vector<std::unique_ptr<Answerer>> answerers;
};

/// Members take notifications in the callback, which is the cheapest way and one that a program
/// would really use: there is no further thread to wake.
class HubFanOut : public FanOut
{
public:
    HubFanOut(uint16_t port, Deliveries& deliveries)
        : takers(deliveries.members())
        , members(join(port, {}, deliveries.members()))
        , sender(std::move(join(port, {}, 1).front()))
        , pipe(sender->pipe(0))
    {
        for (unsigned index = 0; index < members.size(); ++index) {
            takers[index] = {&deliveries, index};
            members[index]->pipe(0)->setNotifyCallback({&takers[index], take});
        }
    }

    void send() override
    {
        if (!pipe->sendNotify(text.c_str(), 0))
            throw std::runtime_error("the hub takes no notification");
    }

private:
    struct Taker
    {
        Deliveries* deliveries = nullptr;
        unsigned index = 0;
    };

    static void take(void* context, dm::CommunicationPipe* notified)
    {
        const Taker& taker = *static_cast<Taker*>(context);
        if (notified->receiveNotify(nullptr).length() == kSmallBytes)
            taker.deliveries->taken(taker.index);
    }

    const std::string text = std::string(kSmallBytes, 'n');
    std::vector<Taker> takers;
    Members members;
    std::unique_ptr<ClientManager> sender;
    dm::CommunicationPipe* pipe;
};

} // namespace

RequestContender hubForward()
{
    return {kName, serveHub, [](uint16_t port, const Setup& setup) {
                return std::unique_ptr<Connection>(new ForwardConnection(port, setup));
            }};
}

RequestContender hubMesh()
{
    return {kName, serveHub, [](uint16_t port, const Setup& setup) {
                return std::unique_ptr<Connection>(new MeshConnection(port, setup));
            }};
}

FanOutContender hubFanOut()
{
    return {kName, serveHub, [](uint16_t port, Deliveries& deliveries) {
                return std::unique_ptr<FanOut>(new HubFanOut(port, deliveries));
            }};
}

RequestContender hubMember() { return {"dm-hub-member", serveMember, nullptr}; }

} // namespace bench
