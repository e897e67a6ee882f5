#include "dm/jobs/Hub.h"

#include "dm/comm/ManagerRegistry.h"
#include "dm/common/Diagnostics.h"
#include "dm/jobs/JobLog.h"
#include "dm/jobs/ServerId.h"

#include <zul/NamedMutex.h>
#include <zul/Thread.h>
#include <zul/Timer.h>

#include <exception>
#include <utility>

namespace dm {

namespace {

constexpr const char* kMemberHost = "127.0.0.1";

// What callbacks are handed, by the classes that it has in this library.
NetCommunicationPipeManager& own(CommunicationPipeManager* manager)
{
    return static_cast<NetCommunicationPipeManager&>(*manager);
}

NetCommunicationPipe& own(CommunicationPipe* pipe)
{
    return static_cast<NetCommunicationPipe&>(*pipe);
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
    options.clientConnectionCallback.function = callHub<&Hub::clientConnectionCallback>;
    return ManagerRegistry::instance().init(options, ManagerRegistry::Existing::Replace);
}

void Hub::close()
{
    alive.close();
    alive.awaitEmpty();
    eventCallback.set({});
    forwarder.stop();
}

/// What the hub's managers and pipes have as callbacks: calls `method`, unless the hub is closed.
template <auto method, typename... Arguments>
void Hub::callHub(void* context, Arguments... arguments)
{
    Link& link = *static_cast<Link*>(context);
    const Gate::Pass pass(link.hub.alive);
    if (pass)
        (link.hub.*method)(link, own(arguments)...);
}

/// The callbacks that all managers of the hub have.
Hub::Manager::Options Hub::makeOptions(const char* managerName, uint32 member)
{
    void* const link = &links.emplace_back(Link{*this, member});
    Manager::Options options;
    options.name = managerName;
    options.host = kMemberHost;
    options.pipeNames = pipeNames;
    options.maxQueuedNotifyBytes = CommunicationPipe::kMaxQueuedNotifyBytes;
    options.contextOwner = shared_from_this();
    options.pipeCreateCallback = {link, callHub<&Hub::pipeCreateCallback>};
    options.clientConnectionCallback = {link, callHub<&Hub::memberConnected>};
    options.connectionLostCallback = {link, callHub<&Hub::connectionLost>};
    return options;
}

// Members.

void Hub::clientConnectionCallback(Link&, Manager& main)
{
    const std::lock_guard membership(membershipLock);
    try {
        admit(main);
    } catch (const std::exception& exception) {
        // The client stays with the main manager, where it can be heard but not asked.
        warn("hub \"%s\": a client gets no manager of its own: %s", name.c_str(), exception.what());
    }
}

/// Under membershipLock.
void Hub::admit(Manager& main)
{
    const auto member = static_cast<uint32>(snapshot()->size());
    const zu::InplaceString<128> memberName = nextMemberName();
    Manager::Options options = makeOptions(memberName.c_str(), member);
    options.isServer = true;
    options.port = port == 0 ? 0 : port + static_cast<int>(member) + 1;
    options.id = member;
    const auto admitIfListening = [&](Manager& manager) {
        if (manager.status().state != ConnectionStatus::Connected && options.port != 0)
            return false;
        append(manager);
        logLine("Server \"%s\" was connected by a client\n", manager.getName());
        uint32 memberPort = 0;
        manager.getHost(&memberPort);
        main.setRedirect(kMemberHost, memberPort);
        return true;
    };
    ManagerRegistry& registry = ManagerRegistry::instance();
    if (registry.initWith(options, ManagerRegistry::Existing::Replace, admitIfListening))
        return;
    // Redirected to somebody else's port, the client would come back for a further member.
    warn("hub \"%s\": member %u listens on another port, because port %d cannot be had",
         name.c_str(), member, options.port);
    registry.deinit(memberName.c_str());
    options.port = 0;
    registry.initWith(options, ManagerRegistry::Existing::Replace, admitIfListening);
}

void Hub::connect(Server& server)
{
    const std::lock_guard membership(membershipLock);
    const auto member = static_cast<uint32>(snapshot()->size());
    const zu::InplaceString<128> memberName = nextMemberName();
    Manager::Options options = makeOptions(memberName.c_str(), member);
    options.port = server.getPort();
    ManagerRegistry::instance().initWith(options, ManagerRegistry::Existing::Replace,
                                         [&](Manager& manager) { append(manager); });
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
    longer->push_back({&manager, manager.gate(), zu::Timer::getAppAge()});
    const std::lock_guard guard(lock);
    managers = std::move(longer);
}

std::shared_ptr<const Hub::Members> Hub::snapshot()
{
    const std::lock_guard guard(lock);
    return managers;
}

void Hub::memberConnected(Link& link, Manager& manager)
{
    if (!std::exchange(link.isPresent, true))
        tell(HubEvent::Joined, link, manager);
}

void Hub::pipeAttached(Link& link, NetCommunicationPipe& pipe)
{
    Manager& manager = own(pipe.getManager());
    forwarder.sourceRestarted({&pipe, manager.gate()});
    forwarder.memberCame(manager.gate());
    memberConnected(link, manager);
    tell(HubEvent::PipeOpened, link, manager, pipe.getName());
}

void Hub::connectionLost(Link& link, Manager& manager)
{
    // Judged by its pipes: whoever else has connected to the port does not count. A member does not
    // come back to its manager, the hub gives it a new one; what the hub itself has connected to
    // may come back.
    const bool isGone = !manager.hasAttachedPipes();
    forwarder.connectionLost(manager.gate(), isGone && manager.isServer());
    if (isGone && std::exchange(link.isPresent, false))
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

void Hub::pipeCreateCallback(Link& link, Manager& manager, NetCommunicationPipe& pipe)
{
    pipe.setConnectionCallback({&link, callHub<&Hub::pipeAttached>});
    pipe.setNotifyRunCallback({&link, callHub<&Hub::pipeNotificationCallback>});
    pipe.setRequestCallback({&link, callHub<&Hub::pipeRequestCallback>});

    const std::shared_ptr<const Members> members = snapshot();
    for (const Member& member : *members) {
        const Gate::Pass pass(*member.gate);
        if (pass)
            member.manager->getPipe(pipe.getName());
    }
    logLine("Manager \"%s\" created a pipe \"%s\"\n", manager.getName(), pipe.getName());
    // One that the other end asked for was attached before this callback.
    if (pipe.isConnected())
        pipeAttached(link, pipe);
}

void Hub::pipeNotificationCallback(Link&, NetCommunicationPipe& source)
{
    std::vector<zu::InplaceString<128>> texts;
    source.takeNotifies(texts);
    const uint32 id = source.getManager()->getID();
    const std::shared_ptr<const Members> members = snapshot();
    for (const Member& member : *members) {
        const Gate::Pass pass(*member.gate);
        if (!pass)
            continue;
        NetCommunicationPipe& target = member.manager->getPipe(source.getName(), nullptr);
        if (&target != &source)
            target.sendNotifies(texts, id);
    }
}

void Hub::pipeRequestCallback(Link&, NetCommunicationPipe& pipe)
{
    forwarder.noteRequest({&pipe, own(pipe.getManager()).gate()});
    logLine("broadcastserver pipeRequestCallback\n");
}

RequestForwarder::Forward Hub::takeRequest(const RequestForwarder::Source& source)
{
    const Gate::Pass sourcePass(*source.manager);
    zu::InplaceString<128> request;
    uint32 number = 0;
    if (!sourcePass || !source.pipe->takeRequest(request, &number))
        return {};
    RequestForwarder::Forward forward;
    const std::shared_ptr<const Members> members = snapshot();
    if (const Member* const target = findManagerByID(*members, number, source.pipe->getName())) {
        const Gate::Pass pass(*target->gate);
        if (pass && isExpected(*target)) {
            forward.job = std::make_shared<JobForwardRequest>(
                source.pipe, target->manager->getPipe(source.pipe->getName()), request.c_str());
            forward.target = target->gate;
        }
    }
    if (forward.job == nullptr)
        forward.job = std::make_shared<JobForwardRequest>(source.pipe, nullptr, request.c_str());
    return forward;
}

/// Whether the member is there, or may yet come to the manager that was made for it.
bool Hub::isExpected(const Member& member)
{
    constexpr double kJoinSeconds = 10.0;
    return !member.manager->isServer() || member.manager->status().connections > 0 ||
           zu::Timer::getAppAge() - member.made < kJoinSeconds;
}

/// Null, with a message, when there is no such member.
const Hub::Member* Hub::findManagerByID(const Members& members, uint32 id, const char* pipeName)
{
    if (id < members.size())
        return &members[id];
    if (!saidNoSuchMember.exchange(true))
        warn("hub \"%s\": a request on pipe \"%s\" is for member %u, which does not exist (there "
             "are %zu); such requests are answered with \"\"",
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
