#include "bench/contenders/Contenders.h"

#include <dm/comm.h>
#include <zul/Event.h>
#include <zul/Yield.h>

#include <atomic>
#include <cstring>
#include <stdexcept>
#include <thread>

namespace bench {
namespace {

/// The longest answer that travels as the answer's text, as a program would send it; a longer one
/// is data.
constexpr size_t kMaxAnswerText = kSmallBytes;

constexpr uint32_t kMore = 1;
constexpr uint32_t kLast = 2;

std::string pipeName(unsigned index) { return "bench" + std::to_string(index); }

/// A client manager for as long as this lives.
class ClientManager
{
public:
    explicit ClientManager(uint16_t port, const Setup& setup)
    {
        static std::atomic<unsigned> s_count{0};
        zu::setYieldMicroseconds(setup.yieldMicroseconds);
        dm::setResponseCapacityEnforced(true);
        name = "bench" + std::to_string(++s_count);
        manager = dm::initCommunicationManagerAsClient(name.c_str(), "127.0.0.1", port);
    }

    ~ClientManager() { dm::deinitCommunicationManager(name.c_str()); }
    ClientManager(const ClientManager&) = delete;
    ClientManager& operator=(const ClientManager&) = delete;

    dm::CommunicationPipe* pipe(unsigned index) const
    {
        return manager->getPipe(pipeName(index).c_str());
    }

private:
    std::string name;
    dm::CommunicationPipeManager* manager = nullptr;
};

class DmClient : public Client
{
public:
    explicit DmClient(dm::CommunicationPipe* asked)
        : pipe(asked)
    {
    }

    size_t ask(std::span<char> answer) override
    {
        dm::uint32 size = 0;
        const auto text =
            pipe->sendRequest(request.c_str(), 0, answer.data(),
                              static_cast<dm::uint32>(answer.size()), &size, nullptr, 0);
        return size > 0 ? size : text.length();
    }

private:
    dm::CommunicationPipe* pipe;
    const std::string request = std::string(kSmallBytes, 'q');
};

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

/// A pipe's thread at the serving end: its callbacks only wake it.
class PipeThread
{
public:
    explicit PipeThread(dm::CommunicationPipe* served)
        : pipe(served)
    {
    }
    virtual ~PipeThread() = default;

    dm::PipeCallback callback()
    {
        return {this, [](void* self, dm::CommunicationPipe*) {
                    static_cast<PipeThread*>(self)->arrived.set();
                }};
    }

    /// For the rest of the process.
    void start()
    {
        std::thread([this] {
            for (;;) {
                arrived.wait();
                while (takeOne()) {
                }
            }
        }).detach();
    }

protected:
    virtual bool takeOne() = 0;

    dm::CommunicationPipe* pipe;

private:
    zu::Event arrived = zu::Event::create();
};

class Answerer : public PipeThread
{
public:
    Answerer(dm::CommunicationPipe* served, size_t answerBytes)
        : PipeThread(served)
        , text(answerBytes <= kMaxAnswerText ? answerBytes : 0, 'a')
        , data(answerBytes <= kMaxAnswerText ? 0 : answerBytes, 'a')
    {
        pipe->setRequestCallback(callback());
        start();
    }

private:
    bool takeOne() override
    {
        if (pipe->receiveRequest(nullptr).empty())
            return false;
        void* requestData = nullptr;
        dm::uint32 requestBytes = 0;
        pipe->getRequestData(&requestData, &requestBytes);
        pipe->respond(text.c_str(), data.data(), static_cast<dm::uint32>(data.size()));
        return true;
    }

    const std::string text;
    const std::vector<char> data;
};

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

/// Takes notifications and tells the sender when it has taken a last one.
class NotificationTaker : public PipeThread
{
public:
    explicit NotificationTaker(dm::CommunicationPipe* served)
        : PipeThread(served)
    {
        pipe->setNotifyCallback(callback());
        start();
    }

private:
    bool takeOne() override
    {
        dm::uint32 value = 0;
        if (pipe->receiveNotify(&value).length() != kSmallBytes)
            return false;
        if (value == kLast)
            pipe->sendNotify("done", kLast);
        return true;
    }
};

void serveNotifications(const Setup& setup)
{
    dm::CommunicationPipeManager* manager = startManager(setup);
    const NotificationTaker taker(manager->getPipe(pipeName(0).c_str()));
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
