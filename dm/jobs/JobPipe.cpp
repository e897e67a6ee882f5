#include "dm/jobs/JobPipe.h"

#include "dm/comm/ManagerRegistry.h"
#include "dm/comm/NetCommunicationPipeManager.h"

#include <cassert>

namespace dm {

std::shared_ptr<Gate> gateOf(CommunicationPipe* pipe)
{
    if (dynamic_cast<NetCommunicationPipe*>(pipe) == nullptr)
        return nullptr;
    return static_cast<NetCommunicationPipeManager*>(pipe->getManager())->gate();
}

JobPipe JobPipe::find(const char* managerName, const char* pipeName)
{
    return ManagerRegistry::instance().with(
        managerName, JobPipe(nullptr, nullptr), [&](NetCommunicationPipeManager& manager) {
            return JobPipe(manager.getPipe(pipeName), manager.gate());
        });
}

} // namespace dm
