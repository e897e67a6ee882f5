#include "dm/jobs/Hub.h"

#include <dm/jobs.h>

namespace dm {

BroadcastServer::BroadcastServer(const char* name, int listeningPort, HubCallback events)
    : Server(name)
    , hub(std::make_shared<Hub>(name, listeningPort))
{
    hub->setEventCallback(events);
    adopt(hub->open());
}

BroadcastServer::~BroadcastServer() { hub->close(); }

void BroadcastServer::connect(Server* server) { hub->connect(*server); }

void BroadcastServer::broadcastNotify(const char* pipeName, const char* text)
{
    hub->broadcastNotify(pipeName, text, getID());
}

void BroadcastServer::waitOnProccesses() { hub->waitOnProccesses(); }

void BroadcastServer::stopWaiting() { hub->stopWaiting(); }

void BroadcastServer::setEventCallback(HubCallback callback) { hub->setEventCallback(callback); }

} // namespace dm
