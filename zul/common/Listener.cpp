#include "zul/common/SocketState.h"
#include "zul/common/Tcp.h"

#include <zul/Listener.h>
#include <zul/Socket.h>

#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <string>

namespace net {

static constexpr const char* kDefaultListenAddress = "127.0.0.1";

// Never destroyed: threads that outlive main may still make listeners.
struct ListenAddress
{
    std::mutex lock;
    std::string address; // "" for not set; under lock
};

static ListenAddress& sharedListenAddress()
{
    static auto* shared = new ListenAddress;
    return *shared;
}

void setListenAddress(const char* address)
{
    ListenAddress& shared = sharedListenAddress();
    std::lock_guard guard(shared.lock);
    shared.address = address ? address : "";
}

zu::InplaceString<128> getListenAddress()
{
    ListenAddress& shared = sharedListenAddress();
    std::lock_guard guard(shared.lock);
    if (!shared.address.empty())
        return shared.address.c_str();
    const char* variable = std::getenv("ZUL_LISTEN_ADDRESS");
    return variable && *variable ? variable : kDefaultListenAddress;
}

void allowPortAfterStop(std::intptr_t nativeSocket) { tcp::allowPortAfterStop(nativeSocket); }

struct Listener::State
{
    ~State() { tcp::close(listening); }

    tcp::Listening listening;
    bool refusalReported = false;
};

Listener::Listener(int port)
    : listening(std::make_unique<State>())
    , portInUse(static_cast<u32>(port))
{
    zu::InplaceString<128> address = getListenAddress();
    std::string error = "no port of TCP";
    if (port >= 0 && port <= 0xFFFF) {
        auto addresses = tcp::numericAddresses(address.c_str(), portInUse);
        error = "not a numeric address";
        if (!addresses.empty())
            listening->listening = tcp::listen(addresses.front(), error);
    }
    if (isListening())
        portInUse = listening->listening.port;
    else
        std::fprintf(stderr, "net: cannot listen on %s port %d: %s\n", address.c_str(), port,
                     error.c_str());
}

Listener::~Listener() = default;

bool Listener::isListening() const { return listening->listening.handle != tcp::kNoHandle; }

void Listener::update()
{
    // The system takes connections by itself; pollConnect only fetches them.
}

Socket* Listener::pollConnect()
{
    if (!isListening())
        return nullptr;
    auto state = std::make_unique<Socket::State>(); // before there is a connection to lose
    tcp::Address peer;
    tcp::Attempt accepted = tcp::accept(listening->listening, peer);
    if (accepted.outcome == tcp::Outcome::Failed)
        reportRefusal();
    if (accepted.outcome != tcp::Outcome::Done)
        return nullptr;
    state->open(accepted.handle, peer);
    return new Socket(std::move(state));
}

void Listener::reportRefusal()
{
    refusedCount++;
    if (listening->refusalReported)
        return;
    listening->refusalReported = true;
    std::fprintf(stderr, "net: port %u refuses connections: no descriptor left\n", portInUse);
}

zu::WaitHandle Listener::getWaitHandle() const
{
    zu::WaitHandle handle;
    handle.native = listening->listening.handle;
    return handle;
}

} // namespace net
