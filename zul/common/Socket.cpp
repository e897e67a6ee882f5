#include "zul/common/Frame.h"
#include "zul/common/SocketState.h"

#include <zul/Socket.h>

#include <algorithm>
#include <atomic>
#include <cassert>
#include <new>

namespace net {

using std::chrono::milliseconds;

// Memory beyond this is worth looking at the clock for, and given back after a quiet second.
static constexpr u32 kQuietBytes = 16 * 1024;
static constexpr milliseconds kQuietTime{1000};

// Lent bytes of this size are worth a system call of their own even when corked: copying them
// would cost more.
static constexpr u32 kWorthSendingBytes = 8 * 1024;

static std::atomic<u32> s_nextSerial{1};

bool Socket::State::connect(const char* host, u32 port)
{
    close();
    reason.clear();
    if (!host || !*host || port == 0 || port > 0xFFFF) {
        fail("no address to connect to");
        return false;
    }
    deadline = Clock::now() + milliseconds(kConnectTimeoutMs);
    addresses = tcp::numericAddresses(host, port);
    std::reverse(addresses.begin(), addresses.end());
    if (!addresses.empty())
        connectNextAddress();
    else if ((lookup = NameLookup::start(host, port)))
        phase = Phase::LookingUp;
    else
        fail("cannot look up the name: no thread left");
    return phase != Phase::Closed;
}

void Socket::State::continueLookup()
{
    if (lookup->isDone()) {
        addresses.assign(lookup->addresses().rbegin(), lookup->addresses().rend());
        reason = lookup->error();
        lookup.reset();
        connectNextAddress();
    } else if (Clock::now() >= deadline)
        fail("looking up the name took too long");
}

// Tries the addresses until an attempt is under way or done; fails with the reason of the last one.
void Socket::State::connectNextAddress()
{
    while (!addresses.empty()) {
        // One dead address must not use up the time of those behind it.
        auto now = Clock::now();
        addressDeadline = now + (deadline - now) / static_cast<int>(addresses.size());
        attempted = addresses.back();
        addresses.pop_back();
        tcp::Attempt attempt = tcp::startConnect(attempted);
        if (attempt.outcome == tcp::Outcome::Done)
            return open(attempt.handle, attempted);
        if (attempt.outcome == tcp::Outcome::WouldBlock) {
            handle = attempt.handle;
            serial = s_nextSerial++;
            phase = Phase::Connecting;
            return;
        }
        reason = tcp::errorText(attempt.error);
    }
    fail(reason);
}

void Socket::State::continueConnecting()
{
    tcp::Attempt attempt = tcp::continueConnect(handle);
    if (attempt.outcome == tcp::Outcome::Done)
        return open(handle, attempted);
    if (attempt.outcome == tcp::Outcome::WouldBlock) {
        if (Clock::now() < addressDeadline)
            return;
        closeHandle();
        reason = "connecting took too long";
    } else {
        handle = tcp::kNoHandle; // closed by the attempt
        reason = tcp::errorText(attempt.error);
    }
    connectNextAddress();
}

void Socket::State::open(tcp::Handle connected, const tcp::Address& address)
{
    if (handle != connected) {
        handle = connected;
        serial = s_nextSerial++;
    }
    lostSends = malformed = false;
    phase = Phase::Open;
    peer = tcp::describe(address);
    reason.clear();
    addresses.clear();
}

bool Socket::State::accepts(u32 ownBytes, u32 lentBytes) const
{
    if (phase != Phase::Open || sendFailed)
        return false;
    u64 frameBytes = u64{ownBytes} + lentBytes;
    return frameBytes <= kFrameHeaderBytes + kMaxPayloadBytes &&
           queue.size() + frameBytes <= kMaxPendingSendBytes;
}

// What the peer sent before is still to be read, so the socket stays open.
void Socket::State::failSending(const std::string& why)
{
    sendFailed = true;
    lostSends = true;
    reason = why;
    queue.clear();
}

void Socket::State::enqueue(const tcp::Piece& own, const tcp::Piece& lent)
{
    try {
        if (own.count > 0)
            queue.append(own.bytes, own.count);
        if (lent.count > 0)
            queue.append(lent.bytes, lent.count);
    } catch (const std::bad_alloc&) {
        failSending("out of memory"); // half a frame may be on its way: no other may follow
    }
}

// Sends the queue and behind it the two pieces with one call; queues what was not taken.
void Socket::State::sendNow(const tcp::Piece& own, const tcp::Piece& lent)
{
    u32 queued = queue.size();
    if (sendFailed || queued + own.count + lent.count == 0)
        return;
    const tcp::Piece pieces[] = {{queue.bytes(), queued}, own, lent};
    tcp::Transfer sent = tcp::send(handle, pieces);
    if (sent.outcome == tcp::Outcome::Failed)
        return failSending(tcp::errorText(sent.error));
    blocked = sent.outcome == tcp::Outcome::WouldBlock;
    if (queued > kQuietBytes)
        lastBulk = Clock::now();
    u32 rest = sent.bytes;
    auto skip = [&rest](tcp::Piece piece) {
        u32 count = std::min(rest, piece.count);
        rest -= count;
        return tcp::Piece{piece.bytes + count, piece.count - count};
    };
    tcp::Piece queueRest = skip(pieces[0]);
    tcp::Piece ownRest = skip(own);
    tcp::Piece lentRest = skip(lent);
    if (queueRest.count < queued)
        queue.consume(queued - queueRest.count);
    enqueue(ownRest, lentRest);
}

void Socket::State::update(bool readable, bool writable)
{
    if (phase == Phase::LookingUp)
        continueLookup();
    if (phase == Phase::Connecting)
        continueConnecting();
    if (phase != Phase::Open)
        return;
    if (queue.size() > 0 && (writable || !blocked))
        flush();
    if ((readable || sendFailed) && !ended)
        receive();
    closeWhenDrained();
    trimWhenQuiet();
}

void Socket::State::receive()
{
    u32 budget = kMaxReceiveBytesPerUpdate;
    while (receiveOnce(budget)) {
    }
    // A foreign greeting is shown the door before anybody polls.
    if (decoder.status() == FrameDecoder::Status::Malformed)
        failMalformed();
}

// Returns whether there may be more to read now.
bool Socket::State::receiveOnce(u32& inOutBudget)
{
    std::span<u8> space = decoder.space();
    u32 wanted = std::min(static_cast<u32>(space.size()), inOutBudget);
    if (wanted == 0)
        return false; // polling makes room, or the next update goes on
    tcp::Transfer received = tcp::receive(handle, space.first(wanted));
    switch (received.outcome) {
    case tcp::Outcome::Done:
        break;
    case tcp::Outcome::WouldBlock:
        ended = sendFailed; // all that had arrived has been read
        return false;
    case tcp::Outcome::Ended:
        ended = true;
        if (reason.empty())
            reason = "closed by the peer";
        return false;
    case tcp::Outcome::Failed:
        ended = true;
        reason = tcp::errorText(received.error);
        return false;
    }
    decoder.commit(received.bytes);
    inOutBudget -= received.bytes;
    if (received.bytes < wanted)
        return false;
    lastBulk = Clock::now();
    return true;
}

void Socket::State::closeWhenDrained()
{
    if (phase == Phase::Open && ended && decoder.status() != FrameDecoder::Status::Complete)
        fail(reason);
}

void Socket::State::trimWhenQuiet()
{
    if (decoder.capacity() <= kQuietBytes && queue.capacity() <= kQuietBytes)
        return;
    if (Clock::now() - lastBulk < kQuietTime)
        return;
    decoder.trim();
    if (queue.size() == 0)
        queue.clear();
}

void Socket::State::fail(const std::string& why)
{
    std::string kept = why; // may be the reason itself
    close();
    reason = kept;
}

void Socket::State::failMalformed()
{
    fail("the peer sent something that is not a packet");
    malformed = true;
}

void Socket::State::close()
{
    closeHandle();
    phase = Phase::Closed;
    lookup.reset();
    addresses.clear();
    lostSends = lostSends || queue.size() > 0;
    queue.clear();
    decoder.clear();
    blocked = sendFailed = ended = false;
}

void Socket::State::closeHandle()
{
    if (handle != tcp::kNoHandle)
        tcp::close(handle);
    handle = tcp::kNoHandle;
}

Socket::Socket()
    : impl(std::make_unique<State>())
{
}

Socket::Socket(std::unique_ptr<State> state)
    : impl(std::move(state))
{
}

Socket::~Socket()
{
    if (impl->phase != State::Phase::Open || impl->ended)
        return; // after the peer's end a backlog is lost anyway
    drain(kFinalFlushMs);
    tcp::finish(impl->handle);
    impl->handle = tcp::kNoHandle;
}

bool Socket::connect(const char* host, u32 port) { return impl->connect(host, port); }

bool Socket::isConnected() const
{
    return impl->phase == State::Phase::Open &&
           (!impl->ended || impl->decoder.status() == FrameDecoder::Status::Complete);
}

bool Socket::isPending() const
{
    return impl->phase == State::Phase::LookingUp || impl->phase == State::Phase::Connecting;
}

void Socket::close()
{
    if (impl->phase != State::Phase::Closed)
        impl->fail("closed by this end");
}

void Socket::update() { impl->update(true, true); }

void Socket::update(bool readable, bool writable) { impl->update(readable, writable); }

bool Socket::sendPacket(const Packet* packet)
{
    State& state = *impl;
    tcp::Piece own{nullptr, 0};
    tcp::Piece lent{nullptr, 0};
    lent.bytes = PacketAccess::lentBytes(*packet, lent.count);
    own.bytes = PacketAccess::frameBytes(*packet, own.count);
    if (!own.bytes || !state.accepts(own.count, lent.count))
        return false;
    bool gather = state.blocked || (state.corked && lent.count < kWorthSendingBytes);
    if (!gather) {
        state.sendNow(own, lent);
        return !state.sendFailed;
    }
    state.enqueue(own, lent);
    if (state.corked && !state.blocked && state.queue.size() > kCorkedBytes)
        state.flush();
    return !state.sendFailed;
}

void Socket::setMaxReceivedPayload(u32 bytes)
{
    assert(bytes <= kMaxPayloadBytes);
    impl->decoder.setMaxPayload(bytes);
}

void Socket::setCorked(bool corked)
{
    impl->corked = corked;
    if (!corked && !impl->blocked)
        impl->flush();
}

void Socket::flush() { impl->flush(); }

bool Socket::drain(u32 timeoutMs)
{
    using Clock = State::Clock;
    auto deadline = Clock::now() + milliseconds(timeoutMs);
    for (;;) {
        flush();
        if (!hasSendsToDo())
            return impl->phase == State::Phase::Open && !impl->sendFailed;
        auto left = std::chrono::ceil<milliseconds>(deadline - Clock::now());
        if (left.count() <= 0)
            return false;
        zu::WaitHandle handle = getWaitHandle();
        handle.interest = zu::Interest::Write;
        zu::waitAny(&handle, 1, static_cast<u32>(left.count()));
    }
}

u32 Socket::pendingSendBytes() const { return impl->queue.size(); }

bool Socket::hasLostSends() const { return impl->lostSends; }

bool Socket::gotMalformed() const { return impl->malformed; }

bool Socket::hasPacket() const
{
    return impl->phase == State::Phase::Open &&
           impl->decoder.status() == FrameDecoder::Status::Complete;
}

Packet* Socket::pollPacket(u32* outSize)
{
    State& state = *impl;
    Frame frame;
    switch (state.decoder.next(frame)) {
    case FrameDecoder::Status::Complete:
        break;
    case FrameDecoder::Status::Malformed:
        state.failMalformed();
        return nullptr;
    case FrameDecoder::Status::Incomplete:
        state.closeWhenDrained();
        return nullptr;
    }
    PacketAccess::showFrame(state.packet, frame);
    if (outSize)
        *outSize = frame.payloadBytes;
    return &state.packet;
}

zu::InplaceString<128> Socket::getConnectedIP() const { return impl->peer.ip.c_str(); }

u32 Socket::getConnectedPort() const { return impl->peer.port; }

zu::InplaceString<128> Socket::getLocalIP() const
{
    if (impl->phase != State::Phase::Open)
        return "";
    return tcp::localEndpoint(impl->handle).ip.c_str();
}

u32 Socket::getLocalPort() const
{
    return impl->phase == State::Phase::Open ? tcp::localEndpoint(impl->handle).port : 0;
}

const char* Socket::closeReason() const
{
    return isConnected() || isPending() ? "" : impl->reason.c_str();
}

zu::WaitHandle Socket::getWaitHandle() const
{
    zu::WaitHandle result;
    if (impl->handle == tcp::kNoHandle)
        return result;
    result.native = impl->handle;
    result.serial = impl->serial;
    if (impl->phase == State::Phase::Connecting)
        result.interest = zu::Interest::Write;
    else if (hasSendsToDo())
        result.interest = zu::Interest::ReadWrite;
    return result;
}

} // namespace net
