/// The process-wide registry of pipe managers, behind the free functions of <dm/comm.h>.
///
/// Locks: registryLock guards the map. Managers are constructed under it, so two inits of one name
/// cannot both win, but never destroyed or joined under it: a manager's own callbacks may call the
/// registry at that very moment, and their thread is what a join waits for. So an entry is taken
/// out under the lock and destroyed after it.
///
/// Never destroyed itself: managers that were left running go on beyond the end of main.
#pragma once

#include "dm/comm/NameOrder.h"
#include "dm/comm/NetCommunicationPipeManager.h"
#include "dm/common/LockOrder.h"

#include <atomic>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace dm {

class ManagerRegistry
{
public:
    static ManagerRegistry& instance();

    /// Makes and files a manager. `replace`: a manager already filed under the name is left
    /// running, unfiled; otherwise it is returned unchanged.
    enum class Existing
    {
        Replace,
        Return,
    };
    NetCommunicationPipeManager* init(const NetCommunicationPipeManager::Options& options,
                                      Existing existing);

    /// The same, and runs `work` with the manager, which is not destroyed meanwhile.
    template <typename Work>
    auto initWith(const NetCommunicationPipeManager::Options& options, Existing existing,
                  Work work);

    NetCommunicationPipeManager* find(const char* name);
    CommunicationPipeManager* sole() const { return soleManager.load(); }
    bool empty() const { return managerCount.load() == 0; }
    bool hasSeveral() const { return managerCount.load() > 1; }

    /// Runs `work` with the named manager, or with the only one where the name is null. It is not
    /// destroyed meanwhile, and the registry is not locked. Returns what `work` does, and
    /// `otherwise` when there is no such manager.
    template <typename Result, typename Work>
    Result with(const char* managerName, Result otherwise, Work work);

    void deinit(const char* name);
    void deinitAll();

private:
    using Manager = NetCommunicationPipeManager;

    Manager* findLocked(const char* name);
    Manager* soleLocked();
    void updateSole();
    void destroy(std::vector<std::unique_ptr<Manager>> managers);
    Manager* initLocked(const Manager::Options& options, Existing existing);
    static bool mayWait();
    void reap();

    RecursiveOrderedMutex<LockRank::Registry> registryLock;

    // Under registryLock.
    std::map<std::string, std::unique_ptr<Manager>, NameOrder> managers;
    // Removed by their own callbacks, whose thread cannot wait for itself: destroyed by the next
    // call of another thread.
    std::vector<std::unique_ptr<Manager>> leftToReap;

    std::atomic<CommunicationPipeManager*> soleManager{nullptr};
    std::atomic<size_t> managerCount{0};
    std::atomic<bool> somethingToReap{false};
};

template <typename Work>
auto ManagerRegistry::initWith(const Manager::Options& options, Existing existing, Work work)
{
    reap();
    std::unique_lock guard(registryLock);
    Manager& manager = *initLocked(options, existing);
    const std::shared_ptr<Gate> gate = manager.gate();
    const Gate::Pass pass(*gate); // always: it closes only once the manager is out of the map
    guard.unlock();
    return work(manager);
}

template <typename Result, typename Work>
Result ManagerRegistry::with(const char* managerName, Result otherwise, Work work)
{
    reap();
    Manager* manager = nullptr;
    std::shared_ptr<Gate> gate;
    {
        std::lock_guard guard(registryLock);
        manager = managerName != nullptr ? findLocked(managerName) : soleLocked();
        if (manager == nullptr)
            return otherwise;
        gate = manager->gate();
    }
    const Gate::Pass pass(*gate);
    return pass ? work(*manager) : otherwise;
}

} // namespace dm
