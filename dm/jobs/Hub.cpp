#include "dm/jobs/Hub.h"

#include "dm/comm/ManagerRegistry.h"
#include "dm/common/Diagnostics.h"
#include "dm/jobs/JobLog.h"
#include "dm/jobs/ServerId.h"

#include <zul/NamedMutex.h>
#include <zul/Thread.h>

namespace dm {

namespace {

constexpr const char* kMemberHost = "127.0.0.1";

NetCommunicationPipeManager& managerOf(CommunicationPipe& pipe)
{
    return static_cast<NetCommunicationPipeManager&>(*pipe.getManager());
}

} // namespace

Hub::Hub(const char* hubName, int hubPort)
    : name(hubName)
    , port(hubPort)
    , refcountName(zu::str("%s_refcount", hubName).c_str())
    , managers(std::make_shared<const Members>())
    , forwarder([this](const RequestForwarder::Source& source) { return takeRequest(source); })
{
}

CommunicationPipeManager* Hub::open()
{
    forwarder.start();
    Manager::Options options = makeOptions(name.c_str(), kNoMember);
    options.isServer = true;
    options.port = port;
    options.id = kServerId;
    options.clientConnectionCallback.function = [](void* context, CommunicationPipeManager* main) {
        withHub(context, [&](Hub& hub, const Link&) {
            hub.clientConnectionCallback(static_cast<Manager&>(*main));
        });
    };
    return ManagerRegistry::instance().init(options, ManagerRegistry::Existing::Replace);
}

void Hub::close()
{
    alive.close();
    alive.awaitEmpty();
    eventCallback.set({});
    forwarder.stop();
}

/// Runs a callback's work unless the hub is closed.
template <typename Work>
void Hub::withHub(void* context, Work work)
{
    const Link& link = *static_cast<Link*>(context);
    const Gate::Pass pass(link.hub.alive);
    if (pass)
        work(link.hub, link);
}

/// The callbacks that all managers of the hub have.
Hub::Manager::Options Hub::makeOptions(const char* managerName, uint32 member)
{
    void* const link = &links.emplace_back(Link{*this, member});
    Manager::Options options;
    options.name = managerName;
    options.host = kMemberHost;
    options.maxPipes = BroadcastServer::kMaxPipes;
    options.contextOwner = shared_from_this();
    options.pipeCreateCallback = {
        link, [](void* context, CommunicationPipeManager* manager, CommunicationPipe* pipe) {
            withHub(context, [&](Hub& hub, const Link& own) {
                hub.pipeCreateCallback(own, static_cast<Manager&>(*manager), *pipe);
            });
        }};
    options.clientConnectionCallback = {link, [](void* context, CommunicationPipeManager* manager) {
                                            withHub(context, [&](Hub& hub, const Link& own) {
                                                hub.memberConnected(
                                                    own, static_cast<Manager&>(*manager));
                                            });
                                        }};
    options.connectionLostCallback = {link, [](void* context, CommunicationPipeManager* manager) {
                                          withHub(context, [&](Hub& hub, const Link& own) {
                                              hub.connectionLost(own,
                                                                 static_cast<Manager&>(*manager));
                                          });
                                      }};
    return options;
}

// Members.

void Hub::clientConnectionCallback(Manager& main)
{
    const std::lock_guard membership(membershipLock);
    const auto member = static_cast<uint32>(snapshot()->size());
    const zu::InplaceString<128> memberName = nextMemberName();
    Manager& manager = *listenForMember(memberName.c_str(), member);
    append(manager);
    logLine("Server \"%s\" was connected by a client\n", manager.getName());
    uint32 memberPort = 0;
    manager.getHost(&memberPort);
    main.setRedirect(kMemberHost, memberPort);
}

/// Under membershipLock.
Hub::Manager* Hub::listenForMember(const char* managerName, uint32 member)
{
    Manager::Options options = makeOptions(managerName, member);
    options.isServer = true;
    options.port = port == 0 ? 0 : port + static_cast<int>(member) + 1;
    options.id = member;
    ManagerRegistry& registry = ManagerRegistry::instance();
    Manager* const manager = registry.init(options, ManagerRegistry::Existing::Replace);
    if (manager->status().state == ConnectionStatus::Connected || options.port == 0)
        return manager;
    // Redirected to somebody else's port, the client would come back for a further member.
    warn("hub \"%s\": member %u listens on another port, because port %d is taken", name.c_str(),
         member, options.port);
    registry.deinit(managerName);
    options.port = 0;
    return registry.init(options, ManagerRegistry::Existing::Replace);
}

void Hub::connect(Server& server)
{
    const std::lock_guard membership(membershipLock);
    const auto member = static_cast<uint32>(snapshot()->size());
    const zu::InplaceString<128> memberName = nextMemberName();
    Manager::Options options = makeOptions(memberName.c_str(), member);
    options.port = server.getPort();
    append(*ManagerRegistry::instance().init(options, ManagerRegistry::Existing::Replace));
}

/// Under membershipLock.
zu::InplaceString<128> Hub::nextMemberName()
{
    return zu::str("%sc%i", name.c_str(), static_cast<int>(snapshot()->size())).c_str();
}

/// Under membershipLock.
void Hub::append(Manager& manager)
{
    auto longer = std::make_shared<Members>(*snapshot());
    longer->push_back({&manager, manager.gate()});
    const std::lock_guard guard(lock);
    managers = std::move(longer);
}

std::shared_ptr<const Hub::Members> Hub::snapshot()
{
    const std::lock_guard guard(lock);
    return managers;
}

void Hub::memberConnected(const Link& link, Manager& manager)
{
    forwarder.connectionMade(manager.gate());
    tell(HubEvent::Joined, link, manager);
}

void Hub::connectionLost(const Link& link, Manager& manager)
{
    // A member does not come back to its manager: the hub gives it a new one. What the hub itself
    // has connected to may come back.
    const bool isEmpty = manager.connectionCount() == 0;
    forwarder.connectionLost(manager.gate(), isEmpty && manager.isServer());
    if (isEmpty)
        tell(HubEvent::Left, link, manager);
}

void Hub::tell(HubEvent::Kind kind, const Link& link, Manager& manager, const char* pipeName)
{
    if (link.member == kNoMember || !eventCallback.isSet())
        return;
    const zu::InplaceString<128> address = manager.peerAddress();
    eventCallback.call({kind, link.member, manager.getRemoteName(), address.c_str(), pipeName});
}

// Pipes.

void Hub::pipeCreateCallback(const Link& link, Manager& manager, CommunicationPipe& pipe)
{
    void* const context = const_cast<Link*>(&link);
    pipe.setConnectionCallback({context, [](void* self, CommunicationPipe* attached) {
                                    withHub(self, [&](Hub& hub, const Link& own) {
                                        hub.tell(HubEvent::PipeOpened, own, managerOf(*attached),
                                                 attached->getName());
                                    });
                                }});
    static_cast<NetCommunicationPipe&>(pipe).setNotifyRunCallback(
        {context, [](void* self, CommunicationPipe* notified) {
             withHub(self, [&](Hub& hub, const Link&) { hub.pipeNotificationCallback(*notified); });
         }});
    pipe.setRequestCallback(
        {context, [](void* self, CommunicationPipe* requested) {
             withHub(self, [&](Hub& hub, const Link&) { hub.pipeRequestCallback(*requested); });
         }});
    const std::shared_ptr<const Members> members = snapshot();
    for (const Member& member : *members) {
        const Gate::Pass pass(*member.gate);
        if (pass)
            member.manager->getPipe(pipe.getName());
    }
    logLine("Manager \"%s\" created a pipe \"%s\"\n", manager.getName(), pipe.getName());
    // One that the other end asked for was attached before this callback.
    if (pipe.isConnected())
        tell(HubEvent::PipeOpened, link, manager, pipe.getName());
}

void Hub::pipeNotificationCallback(CommunicationPipe& pipe)
{
    auto& source = static_cast<NetCommunicationPipe&>(pipe);
    std::vector<zu::InplaceString<128>> texts;
    source.takeNotifies(texts);
    const uint32 id = source.getManager()->getID();
    const std::shared_ptr<const Members> members = snapshot();
    for (const Member& member : *members) {
        const Gate::Pass pass(*member.gate);
        if (!pass)
            continue;
        CommunicationPipe* const target = member.manager->getPipe(source.getName());
        if (target != &source)
            static_cast<NetCommunicationPipe*>(target)->sendNotifies(texts, id);
    }
}

void Hub::pipeRequestCallback(CommunicationPipe& pipe)
{
    forwarder.noteRequest({&static_cast<NetCommunicationPipe&>(pipe), managerOf(pipe).gate()});
    logLine("broadcastserver pipeRequestCallback\n");
}

RequestForwarder::Forward Hub::takeRequest(const RequestForwarder::Source& source)
{
    const Gate::Pass sourcePass(*source.manager);
    zu::InplaceString<128> request;
    uint32 number = 0;
    if (!sourcePass || !source.pipe->takeRequest(request, &number))
        return {};
    const std::shared_ptr<const Members> members = snapshot();
    const Member* const target = findManagerByID(*members, number, source.pipe->getName());
    CommunicationPipe* targetPipe = nullptr;
    if (target != nullptr) {
        const Gate::Pass targetPass(*target->gate);
        if (targetPass)
            targetPipe = target->manager->getPipe(source.pipe->getName());
    }
    return {std::make_shared<JobForwardRequest>(source.pipe, targetPipe, request.c_str()),
            targetPipe != nullptr ? target->gate : nullptr};
}

/// Null, with a message, when there is no such member.
const Hub::Member* Hub::findManagerByID(const Members& members, uint32 id,
                                        const char* pipeName) const
{
    if (id < members.size())
        return &members[id];
    warn("hub \"%s\": a request on pipe \"%s\" is for member %u, which does not exist (there are "
         "%zu); it is answered with \"\"",
         name.c_str(), pipeName, id, members.size());
    return nullptr;
}

// For the program.

void Hub::broadcastNotify(const char* pipeName, const char* text, uint32 id)
{
    constexpr uint32 kRetryMs = 1;
    const std::shared_ptr<const Members> members = snapshot();
    for (const Member& member : *members) {
        for (;;) {
            {
                const Gate::Pass pass(*member.gate);
                if (!pass || member.manager->getPipe(pipeName)->sendNotify(text, id))
                    break;
            }
            zu::sleepMs(kRetryMs);
        }
    }
}

void Hub::waitOnProccesses()
{
    constexpr uint32 kLookMs = 33;
    while (waitEnabled) {
        zu::sleepMs(kLookMs);
        if (zu::NamedMutex::doesMutexExist(refcountName.c_str()))
            refcountSeen = true;
        else if (refcountSeen)
            return;
    }
}

} // namespace dm
