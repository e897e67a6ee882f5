#include "dm/comm/NetCommunicationPipeManager.h"
#include "dm/jobs/JobPipe.h"

#include <dm/jobs.h>

namespace dm {

namespace {

constexpr int kDefaultPort = 3126;

} // namespace

Client::Client(const char* name)
    : jobManager(name)
{
    manager = initCommunicationManagerAsClient(name, "", kDefaultPort);
}

Client::Client() = default;

void Client::connect(const char* host, int port)
{
    if (manager != nullptr)
        manager->setHost(host, static_cast<uint32>(port));
}

bool Client::isPipeAcquired(const char* pipeName) { return getPipe(pipeName)->isConnected(); }

void Client::waitPipeToConnect(const char* pipeName)
{
    CommunicationPipe* const pipe = getPipe(pipeName);
    JobPipe(pipe, gateOf(pipe)).poll([](CommunicationPipe& used) { return used.isConnected(); });
}

} // namespace dm
