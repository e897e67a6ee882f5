#include "bench/contenders/Deliveries.h"
#include "bench/contenders/ZeroMqSocket.h"

#include <thread>

namespace bench {
namespace {

constexpr char kProbe = 1;

/// A socket without limits of its own, which would have it drop messages: the window of
/// Deliveries is the limit.
class UnlimitedSocket : public ZeroMqSocket
{
public:
    UnlimitedSocket(const ZeroMqContext& context, int type)
        : ZeroMqSocket(context, type)
    {
        set(ZMQ_SNDHWM, 0);
        set(ZMQ_RCVHWM, 0);
    }
};

/// The announced port is a control socket, whose only answer tells the ports of both sides.
void serveProxy(const Setup&)
{
    const ZeroMqContext context;
    ZeroMqSocket control(context, ZMQ_REP);
    UnlimitedSocket in(context, ZMQ_XSUB);
    UnlimitedSocket out(context, ZMQ_XPUB);
    const std::string ports = std::to_string(in.bind()) + " " + std::to_string(out.bind());
    announcePort(control.bind());
    char request[1];
    control.receive(request);
    control.send(ports.data(), ports.size());
    zmq_proxy(in.get(), out.get(), nullptr);
}

/// One thread polls the sockets of all members and empties those that have something.
class Subscribers
{
public:
    Subscribers(const ZeroMqContext& context, uint16_t port, Deliveries& counted)
        : deliveries(counted)
        , isReached(counted.members())
    {
        for (unsigned member = 0; member < deliveries.members(); ++member) {
            sockets.push_back(std::make_unique<UnlimitedSocket>(context, ZMQ_SUB));
            void* const socket = sockets.back()->get();
            checkZeroMq(zmq_setsockopt(socket, ZMQ_SUBSCRIBE, "", 0), "ZMQ_SUBSCRIBE");
            sockets.back()->connect(port);
        }
        thread = std::thread([this] { takeUntilStopped(); });
    }

    ~Subscribers()
    {
        stopping = true;
        thread.join();
    }

    Subscribers(const Subscribers&) = delete;
    Subscribers& operator=(const Subscribers&) = delete;

    /// Whether a probe has come to each.
    bool areAllReached() const { return reached == sockets.size(); }

private:
    void takeUntilStopped()
    {
        constexpr long kLookMs = 50;
        std::vector<zmq_pollitem_t> items;
        for (const auto& socket : sockets)
            items.push_back({socket->get(), 0, ZMQ_POLLIN, 0});
        while (!stopping) {
            zmq_poll(items.data(), static_cast<int>(items.size()), kLookMs);
            for (unsigned member = 0; member < items.size(); ++member)
                if (items[member].revents != 0)
                    takeAll(member);
        }
    }

    void takeAll(unsigned member)
    {
        char message[kSmallBytes];
        while (sockets[member]->tryReceive(message) >= 0) {
            if (message[0] != kProbe)
                deliveries.taken(member);
            else if (!isReached[member]) {
                isReached[member] = true;
                ++reached;
            }
        }
    }

    Deliveries& deliveries;
    std::vector<std::unique_ptr<UnlimitedSocket>> sockets; // the thread's from its start on
    std::vector<bool> isReached;                           // the thread's
    std::atomic<size_t> reached{0};
    std::atomic<bool> stopping{false};
    std::thread thread;
};

struct Ports
{
    uint16_t in = 0;
    uint16_t out = 0;
};

Ports askForPorts(const ZeroMqContext& context, uint16_t controlPort)
{
    ZeroMqSocket control(context, ZMQ_REQ);
    control.connect(controlPort);
    control.send("", 0);
    char answer[16] = {};
    control.receive(answer);
    char* second = nullptr;
    const auto in = static_cast<uint16_t>(std::strtoul(answer, &second, 10));
    return {in, static_cast<uint16_t>(std::strtoul(second, nullptr, 10))};
}

class ProxyFanOut : public FanOut
{
public:
    ProxyFanOut(uint16_t controlPort, Deliveries& deliveries)
        : ports(askForPorts(context, controlPort))
        , publisher(context, ZMQ_PUB)
        , subscribers(context, ports.out, deliveries)
    {
        publisher.connect(ports.in);
        awaitSubscriptions();
    }

    void send() override
    {
        const char message[kSmallBytes] = {};
        publisher.send(message, sizeof message);
    }

private:
    /// Subscriptions reach the publisher some time later, and it drops what nobody wants.
    void awaitSubscriptions()
    {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        const char probe[kSmallBytes] = {kProbe};
        while (!subscribers.areAllReached()) {
            if (std::chrono::steady_clock::now() > deadline)
                throw std::runtime_error("a subscription did not reach the publisher");
            publisher.send(probe, sizeof probe);
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    }

    ZeroMqContext context;
    Ports ports;
    UnlimitedSocket publisher;
    Subscribers subscribers;
};

} // namespace

FanOutContender zeroMqProxy()
{
    return {"zeromq-proxy", serveProxy, [](uint16_t port, Deliveries& deliveries) {
                return std::unique_ptr<FanOut>(new ProxyFanOut(port, deliveries));
            }};
}

} // namespace bench
