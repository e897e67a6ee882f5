#include "dm/comm/ManagerRegistry.h"

#include <utility>

namespace dm {

ManagerRegistry& ManagerRegistry::instance()
{
    static auto* registry = new ManagerRegistry;
    return *registry;
}

NetCommunicationPipeManager* ManagerRegistry::init(const Manager::Options& options,
                                                   Existing existing)
{
    return initWith(options, existing, [](Manager& manager) { return &manager; });
}

NetCommunicationPipeManager* ManagerRegistry::initLocked(const Manager::Options& options,
                                                         Existing existing)
{
    const auto found = managers.find(options.name);
    if (found != managers.end() && existing == Existing::Return)
        return found->second.get();
    auto manager = std::make_unique<Manager>(options);
    Manager* result = manager.get();
    if (found != managers.end()) {
        // Its owner asked for this; it runs on until the process ends.
        [[maybe_unused]] Manager* replaced = found->second.release();
        found->second = std::move(manager);
    } else {
        managers.emplace(options.name, std::move(manager));
    }
    updateSole();
    return result;
}

/// Under registryLock.
void ManagerRegistry::updateSole()
{
    managerCount = managers.size();
    soleManager = soleLocked();
}

NetCommunicationPipeManager* ManagerRegistry::find(const char* name)
{
    reap();
    std::lock_guard guard(registryLock);
    return findLocked(name);
}

/// Under registryLock.
NetCommunicationPipeManager* ManagerRegistry::findLocked(const char* name)
{
    const auto found = managers.find(name);
    return found != managers.end() ? found->second.get() : nullptr;
}

/// Under registryLock.
NetCommunicationPipeManager* ManagerRegistry::soleLocked()
{
    return managers.size() == 1 ? managers.begin()->second.get() : nullptr;
}

void ManagerRegistry::deinit(const char* name)
{
    reap();
    std::vector<std::unique_ptr<Manager>> removed;
    {
        std::lock_guard guard(registryLock);
        const auto found = managers.find(name);
        if (found == managers.end())
            return;
        removed.push_back(std::move(found->second));
        managers.erase(found);
        updateSole();
    }
    destroy(std::move(removed));
}

void ManagerRegistry::deinitAll()
{
    // Callbacks that run meanwhile may make new managers: until none is left.
    for (;;) {
        reap();
        std::vector<std::unique_ptr<Manager>> removed;
        {
            std::lock_guard guard(registryLock);
            for (auto& [name, manager] : managers)
                removed.push_back(std::move(manager));
            managers.clear();
            // The pointer to the only manager stays as it was, as documented.
            managerCount = 0;
        }
        if (removed.empty())
            return;
        destroy(std::move(removed));
    }
}

namespace {

/// Without any lock. First all have ended, then all are destroyed: callbacks of one may use another
/// until the last thread is gone.
void awaitAndDestroy(std::vector<std::unique_ptr<NetCommunicationPipeManager>> stopping)
{
    for (const auto& manager : stopping)
        manager->joinThread();
    for (const auto& manager : stopping)
        manager->gate()->awaitEmpty();
}

} // namespace

/// Without any lock.
void ManagerRegistry::destroy(std::vector<std::unique_ptr<Manager>> removed)
{
    for (const auto& manager : removed)
        manager->requestShutdown();
    if (!mayWait()) {
        std::lock_guard guard(registryLock);
        for (auto& manager : removed)
            leftToReap.push_back(std::move(manager));
        somethingToReap = true;
        return;
    }
    awaitAndDestroy(std::move(removed));
}

/// Whether this thread may wait for a manager to end. A manager's thread must not, nor who holds a
/// pass: the other one may be waiting for it.
bool ManagerRegistry::mayWait()
{
    return !NetCommunicationPipeManager::isAnyManagersThread() && !Gate::isAnyHeldByThisThread();
}

/// Destroys what callbacks have removed; without waiting where that is not allowed.
void ManagerRegistry::reap()
{
    if (!somethingToReap.load())
        return;
    const bool waiting = mayWait();
    std::vector<std::unique_ptr<Manager>> ended;
    {
        std::lock_guard guard(registryLock);
        for (auto& manager : leftToReap) {
            if (waiting || (!manager->isThreadRunning() && manager->gate()->isEmpty()))
                ended.push_back(std::move(manager));
        }
        std::erase(leftToReap, nullptr);
        somethingToReap = !leftToReap.empty();
    }
    awaitAndDestroy(std::move(ended));
}

// The exported functions.

CommunicationPipeManager* initCommunicationManagerAsServer(const char* name, int port, uint32 id,
                                                           bool createPipesOnRequest)
{
    return initCommunicationManagerAsServer(name, port, id, createPipesOnRequest, {});
}

CommunicationPipeManager* initCommunicationManagerAsServer(const char* name, int port, uint32 id,
                                                           bool createPipesOnRequest,
                                                           ClientConnectionCallback callback)
{
    NetCommunicationPipeManager::Options options;
    options.name = name;
    options.isServer = true;
    options.port = port;
    options.host = "127.0.0.1";
    options.id = id;
    options.createPipesOnRequest = createPipesOnRequest;
    options.clientConnectionCallback = callback;
    return ManagerRegistry::instance().init(options, ManagerRegistry::Existing::Replace);
}

CommunicationPipeManager* initCommunicationManagerAsClient(const char* name, const char* host,
                                                           int port)
{
    NetCommunicationPipeManager::Options options;
    options.name = name;
    options.port = port;
    options.host = host;
    return ManagerRegistry::instance().init(options, ManagerRegistry::Existing::Return);
}

CommunicationPipeManager* getCommunicationPipeManager(const char* name)
{
    return ManagerRegistry::instance().find(name);
}

CommunicationPipeManager* getCommunicationPipeManager()
{
    return ManagerRegistry::instance().sole();
}

bool communicationPipeManagerExists(const char* name)
{
    return ManagerRegistry::instance().find(name) != nullptr;
}

bool isCommunicationPipeManagerMapEmpty() { return ManagerRegistry::instance().empty(); }

namespace {

CommunicationPipe* findPipe(const char* managerName, const char* pipeName)
{
    return ManagerRegistry::instance().with<CommunicationPipe*>(
        managerName, nullptr,
        [&](NetCommunicationPipeManager& manager) { return manager.getPipe(pipeName); });
}

} // namespace

CommunicationPipe* getCommunicationPipe(const char* managerName, const char* pipeName)
{
    return findPipe(managerName, pipeName);
}

CommunicationPipe* getCommunicationPipeChecked(const char* managerName, const char* pipeName)
{
    return findPipe(managerName, pipeName);
}

CommunicationPipe* getCommunicationPipe(const char* pipeName)
{
    return findPipe(nullptr, pipeName);
}

CommunicationPipe* getCommunicationPipeChecked(const char* pipeName)
{
    return findPipe(nullptr, pipeName);
}

bool isResourceHotLoadPipeCreated(const char* pipeName)
{
    return ManagerRegistry::instance().with(
        nullptr, false,
        [&](NetCommunicationPipeManager& manager) { return manager.pipeExists(pipeName); });
}

ConnectionStatus getConnectionStatus(const char* managerName)
{
    return ManagerRegistry::instance().with(
        managerName, ConnectionStatus(),
        [](NetCommunicationPipeManager& manager) { return manager.status(); });
}

FlushResult flushCommunicationManager(const char* name, uint32 timeoutMs)
{
    return ManagerRegistry::instance().with(
        name, FlushResult::NoSuchManager,
        [&](NetCommunicationPipeManager& manager) { return manager.flush(timeoutMs); });
}

void closeCommunicationManager(const char* name)
{
    ManagerRegistry::instance().with(name, false, [](NetCommunicationPipeManager& manager) {
        manager.requestShutdown();
        return true;
    });
}

void deinitCommunicationManager(const char* name) { ManagerRegistry::instance().deinit(name); }

void deinitCommunicationManagers() { ManagerRegistry::instance().deinitAll(); }

} // namespace dm
