#include "bench/contenders/DmEnds.h"

#include <zul/Yield.h>

namespace bench {
namespace {

constexpr uint32_t kMore = 1;
constexpr uint32_t kLast = 2;

class DmConnection : public Connection
{
public:
    DmConnection(uint16_t port, const Setup& setup)
        : manager(port, setup)
        , pipes(setup.pipes)
    {
    }

    std::unique_ptr<Client> makeClient(unsigned index) override
    {
        return std::make_unique<DmClient>(manager.pipe(index % pipes));
    }

private:
    ClientManager manager;
    unsigned pipes;
};

dm::CommunicationPipeManager* startManager(const Setup& setup)
{
    zu::setYieldMicroseconds(setup.yieldMicroseconds);
    return dm::initCommunicationManagerAsServer("bench", 0, 1, true);
}

void announce(dm::CommunicationPipeManager* manager)
{
    dm::uint32 port = 0;
    manager->getHost(&port);
    announcePort(port);
}

void serveRequests(const Setup& setup)
{
    dm::CommunicationPipeManager* manager = startManager(setup);
    std::vector<std::unique_ptr<Answerer>> answerers;
    for (unsigned index = 0; index < setup.pipes; ++index)
        answerers.push_back(std::make_unique<Answerer>(manager->getPipe(pipeName(index).c_str()),
                                                       setup.answerBytes));
    announce(manager);
    zu::Event::create().wait(); // never raised
}

/// Takes a notification and tells the sender when it was a last one.
bool takeNotification(dm::CommunicationPipe* pipe)
{
    dm::uint32 value = 0;
    if (pipe->receiveNotify(&value).length() != kSmallBytes)
        return false;
    if (value == kLast)
        pipe->sendNotify("done", kLast);
    return true;
}

void serveNotifications(const Setup& setup)
{
    dm::CommunicationPipeManager* manager = startManager(setup);
    dm::CommunicationPipe* const pipe = manager->getPipe(pipeName(0).c_str());
    PipeThread taker([pipe] { return takeNotification(pipe); });
    pipe->setNotifyCallback(taker.callback());
    announce(manager);
    zu::Event::create().wait(); // never raised
}

class DmNotifier : public Notifier
{
public:
    DmNotifier(uint16_t port, const Setup& setup)
        : manager(port, setup)
        , pipe(manager.pipe(0))
    {
        pipe->setNotifyCallback({this, [](void* self, dm::CommunicationPipe* notified) {
                                     notified->receiveNotify(nullptr);
                                     static_cast<DmNotifier*>(self)->done.set();
                                 }});
    }

    ~DmNotifier() override { pipe->setNotifyCallback({}); }

    void notify() override { send(kMore); }

    void finish() override
    {
        send(kLast);
        done.wait();
    }

private:
    /// Waits for the pipe to be connected, and for room while the queue is full.
    void send(uint32_t value)
    {
        while (!pipe->sendNotify(text.c_str(), value))
            std::this_thread::sleep_for(std::chrono::microseconds(100));
    }

    const std::string text = std::string(kSmallBytes, 'n');
    zu::Event done = zu::Event::create();
    ClientManager manager;
    dm::CommunicationPipe* pipe;
};

} // namespace

RequestContender dmRequests()
{
    return {"dm", serveRequests, [](uint16_t port, const Setup& setup) {
                return std::unique_ptr<Connection>(new DmConnection(port, setup));
            }};
}

NotifyContender dmNotifications()
{
    return {"dm-notify", serveNotifications, [](uint16_t port, const Setup& setup) {
                return std::unique_ptr<Notifier>(new DmNotifier(port, setup));
            }};
}

} // namespace bench
