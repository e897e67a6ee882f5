/// A pipe that a job uses although its manager may be deinitialised at any moment.
#pragma once

#include "dm/comm/NetCommunicationPipe.h"
#include "dm/common/Gate.h"

#include <zul/Thread.h>

#include <memory>

namespace dm {

/// The gate of the pipe's manager; null for a pipe that is none of the library's, which its maker
/// keeps alive.
std::shared_ptr<Gate> gateOf(CommunicationPipe* pipe);

class JobPipe
{
public:
    JobPipe(CommunicationPipe* usedPipe, std::shared_ptr<Gate> managerGate)
        : pipe(usedPipe)
        , gate(std::move(managerGate))
    {
    }

    /// The pipe of that name of the manager of that name, made if absent. One that belongs to
    /// nobody is never used.
    static JobPipe find(const char* managerName, const char* pipeName);

    /// Hands the pipe to `work`. False, doing nothing, when its manager has gone.
    template <typename Work>
    bool use(Work work) const
    {
        if (pipe == nullptr)
            return false;
        if (gate == nullptr) {
            work(*pipe);
            return true;
        }
        const Gate::Pass pass(*gate);
        if (pass)
            work(*pipe);
        return static_cast<bool>(pass);
    }

    /// Tries until `attempt`, which gets the pipe, returns true: once, then, after calling
    /// `waiting`, every millisecond. False when the manager has gone before.
    template <typename Attempt, typename Waiting = void (*)()>
    bool poll(
        Attempt attempt, Waiting waiting = [] {}) const
    {
        constexpr zu::u32 kPollMs = 1;
        bool succeeded = false;
        const auto tryOnce = [&](CommunicationPipe& used) { succeeded = attempt(used); };
        bool isThere = use(tryOnce);
        waiting();
        while (isThere && !succeeded) {
            zu::sleepMs(kPollMs);
            isThere = use(tryOnce);
        }
        return succeeded;
    }

private:
    CommunicationPipe* pipe;
    std::shared_ptr<Gate> gate;
};

} // namespace dm
