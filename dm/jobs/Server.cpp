#include "dm/jobs/JobLog.h"
#include "dm/jobs/ServerId.h"

#include <dm/jobs.h>

namespace dm {

Server::Server(const char* name, int listeningPort)
    : Server(name)
{
    adopt(initCommunicationManagerAsServer(name, listeningPort, kServerId, true));
}

Server::Server(const char* name)
    : jobManager(name)
{
}

void Server::adopt(CommunicationPipeManager* listening)
{
    manager = listening;
    uint32 actualPort = 0;
    manager->getHost(&actualPort);
    port = static_cast<int>(actualPort);
}

Server::~Server() = default;

void Server::registerPipe(const char* pipeName)
{
    manager->getPipe(pipeName);
    logLine("Server: \"%s\" registered pipe: \"%s\".\n", manager->getName(), pipeName);
}

} // namespace dm
