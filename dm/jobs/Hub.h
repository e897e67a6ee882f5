/// What a BroadcastServer does: its members' managers, and what is relayed between them.
///
/// Lives as long as the last manager whose callbacks lead here: each of them holds it. close() is
/// the end of the BroadcastServer: callbacks then return at once, and the managers go on alone.
///
/// Threads: the callbacks run on the managers' threads (pipeCreateCallback also on those of
/// getPipe's callers) and never wait: they copy the member list and call the other managers
/// without a lock. Who forwards requests says RequestForwarder.h.
///
/// Locks: membershipLock is held while a member is made, from its number to its place in the list.
/// `lock` is a leaf around the list itself.
///
/// Other managers may be deinitialised at any time, so each is used with a pass of its gate.
#pragma once

#include "dm/comm/CallbackSlot.h"
#include "dm/comm/NetCommunicationPipeManager.h"
#include "dm/common/Gate.h"
#include "dm/common/LockOrder.h"
#include "dm/jobs/RequestForwarder.h"

#include <dm/jobs.h>

#include <atomic>
#include <deque>
#include <memory>
#include <string>
#include <vector>

namespace dm {

class Hub final : public std::enable_shared_from_this<Hub>
{
public:
    Hub(const char* hubName, int hubPort);

    /// Makes the manager that clients connect to first. Once.
    CommunicationPipeManager* open();

    /// After it no callback runs and nothing is forwarded any more.
    void close();

    void connect(Server& server);
    void broadcastNotify(const char* pipeName, const char* text, uint32 id);
    void waitOnProccesses();
    void stopWaiting() { waitEnabled = false; }
    void setEventCallback(HubCallback callback) { eventCallback.set(callback); }

private:
    using Manager = NetCommunicationPipeManager;

    struct Member
    {
        Manager* manager; // only with a pass of the gate
        std::shared_ptr<Gate> gate;
        double made; // seconds of application age
    };
    using Members = std::vector<Member>;

    /// What the callbacks of one manager get as context.
    struct Link
    {
        Hub& hub;
        uint32 member;          // kNoMember for the main manager
        bool isPresent = false; // the manager's thread only
    };
    static constexpr uint32 kNoMember = 0xFFFFFFFF;

    // The callbacks, by way of callHub.
    void clientConnectionCallback(Link&, Manager& main);
    void memberConnected(Link& link, Manager& manager);
    void connectionLost(Link& link, Manager& manager);
    void pipeCreateCallback(Link& link, Manager& manager, NetCommunicationPipe& pipe);
    void pipeAttached(Link& link, NetCommunicationPipe& pipe);
    void pipeNotificationCallback(Link&, NetCommunicationPipe& source);
    void pipeRequestCallback(Link&, NetCommunicationPipe& pipe);
    template <auto method, typename... Arguments>
    static void callHub(void* context, Arguments... arguments);

    Manager::Options makeOptions(const char* managerName, uint32 member);
    zu::InplaceString<128> nextMemberName();
    void admit(Manager& main);
    void append(Manager& manager);
    std::shared_ptr<const Members> snapshot();
    const Member* findManagerByID(const Members& members, uint32 id, const char* pipeName);
    static bool isExpected(const Member& member);
    RequestForwarder::Forward takeRequest(const RequestForwarder::Source& source);
    void tell(HubEvent::Kind kind, const Link& link, Manager& manager, const char* pipeName = "");

    // Never change after open().
    const zu::InplaceString<128> name;
    const int port; // 0: members listen on any free ones
    const zu::InplaceString<128> refcountName;

    Gate alive;
    CallbackSlot<const HubEvent&> eventCallback;

    OrderedMutex<LockRank::HubMembership> membershipLock;
    std::deque<Link> links; // under membershipLock; elements never move
    const std::shared_ptr<PipeNameQuota> pipeNames =
        std::make_shared<PipeNameQuota>(BroadcastServer::kMaxPipes);

    LeafMutex lock;
    std::shared_ptr<const Members> managers; // under lock; replaced, never changed

    std::atomic<bool> saidNoSuchMember{false};
    std::atomic<bool> refcountSeen{false};
    std::atomic<bool> waitEnabled{true};

    RequestForwarder forwarder;
};

} // namespace dm
