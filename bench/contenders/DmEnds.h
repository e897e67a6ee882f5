/// What the contenders of ours are put together from, at either end of a pipe.
#pragma once

#include "bench/contenders/Contenders.h"

#include <dm/comm.h>
#include <zul/Event.h>

#include <atomic>
#include <functional>
#include <string>
#include <thread>
#include <vector>

namespace bench {

std::string pipeName(unsigned index);

/// A client manager for as long as this lives.
class ClientManager
{
public:
    ClientManager(uint16_t port, const Setup& setup);
    ~ClientManager();
    ClientManager(const ClientManager&) = delete;
    ClientManager& operator=(const ClientManager&) = delete;

    dm::CommunicationPipe* pipe(unsigned index) const
    {
        return manager->getPipe(pipeName(index).c_str());
    }

    /// Waits until the first pipe is connected; throws when it takes too long.
    void awaitPipe() const;

    /// The number that the manager at the other end bears at the end of its name.
    unsigned numberOfOtherEnd() const;

private:
    std::string name;
    dm::CommunicationPipeManager* manager = nullptr;
};

class DmClient : public Client
{
public:
    explicit DmClient(dm::CommunicationPipe* asked, unsigned requestNumber = 0)
        : pipe(asked)
        , number(requestNumber)
    {
    }

    size_t ask(std::span<char> answer) override;

protected:
    dm::CommunicationPipe* pipe;
    unsigned number;

private:
    const std::string request = std::string(kSmallBytes, 'q');
};

/// A pipe's thread at the serving end: its callbacks only wake it. It takes what there is with
/// `takeOne`, which tells whether there was something.
class PipeThread
{
public:
    explicit PipeThread(std::function<bool()> takeOne);
    /// The pipe must not call back any more.
    ~PipeThread();
    PipeThread(const PipeThread&) = delete;
    PipeThread& operator=(const PipeThread&) = delete;

    dm::PipeCallback callback();

private:
    std::function<bool()> take;
    zu::Event arrived = zu::Event::create();
    std::atomic<bool> stopping{false};
    std::thread thread;
};

/// Answers the requests of a pipe.
class Answerer
{
public:
    Answerer(dm::CommunicationPipe* served, size_t answerBytes);
    ~Answerer() { pipe->setRequestCallback({}); }

private:
    bool answerOne();

    dm::CommunicationPipe* pipe;
    const std::string text;
    const std::vector<char> data;
    PipeThread thread;
};

} // namespace bench
