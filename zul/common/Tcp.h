// TCP without blocking, as the platform offers it: the seam below Socket and Listener.
//
// Every handle made here is non-blocking, sends without delay and is not inherited by child
// processes; sending to a closed peer is an error, never a signal. A connection that is quiet is
// probed, so that one whose peer's machine has vanished fails, see below. Threads: any, one handle
// at a time.
#pragma once

#include <zul/Packet.h>

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace net::tcp {

using Handle = std::intptr_t;
inline constexpr Handle kNoHandle = -1;

// After so long without a sound from the peer it is probed so often at most, and given up when
// nothing has come back: within two minutes. With bytes on their way the system's patience counts,
// a quarter of an hour; a shorter limit would also cut off a peer that is only halted.
inline constexpr int kKeepAliveIdleSeconds = 60;
inline constexpr int kKeepAliveIntervalSeconds = 10;
inline constexpr int kKeepAliveProbes = 6;

// An address and port in the system's own form.
struct Address
{
    alignas(8) u8 bytes[32] = {};
    u32 size = 0;
};

struct Endpoint
{
    // Numeric; an IPv4 address in an IPv6 one is shown as IPv4, and one that is good on one network
    // only with the number of its interface behind a %.
    std::string ip;
    u32 port = 0;
};

enum class Outcome
{
    Done,
    WouldBlock,
    Ended, // the peer closed its end
    Failed
};

struct Transfer
{
    Outcome outcome = Outcome::Failed;
    u32 bytes = 0;
    int error = 0; // the system's code when Failed
};

struct Attempt
{
    Outcome outcome = Outcome::Failed; // WouldBlock: under way
    Handle handle = kNoHandle;         // none when Failed
    int error = 0;
};

// The addresses of a numeric host or "localhost"; none for anything else. Does not block.
std::vector<Address> numericAddresses(const char* host, u32 port);

// Looks a name up, for as long as that takes. None, and why in outError, when there is none.
std::vector<Address> resolve(const char* host, u32 port, std::string& outError);

Endpoint describe(const Address& address);
std::string errorText(int error);

Attempt startConnect(const Address& address);

// How an attempt under way is doing. Failed also when the system has connected the handle to
// itself, which happens on one machine when nobody listens on a port of the ephemeral range.
Attempt continueConnect(Handle handle);

// Sends the pieces in order with one call. WouldBlock: bytes tells how much was taken before.
struct Piece
{
    const u8* bytes;
    u32 count;
};
Transfer send(Handle handle, std::span<const Piece> pieces);

Transfer receive(Handle handle, std::span<u8> space);

Endpoint localEndpoint(Handle handle);

// Closes at once. What the system has not sent yet it still sends, unless bytes are left unread:
// then it cuts the connection.
void close(Handle handle);

// The same after an end of stream. Reads and drops what arrived meanwhile first, so that what the
// system has yet to send is not lost.
void finish(Handle handle);

struct Listening
{
    Handle handle = kNoHandle;
    Handle spare = kNoHandle; // given up for a moment to refuse connections without a descriptor
    u32 port = 0;
};

// Lets a listener have its port at once when the program that had it before has stopped; not while
// that one still listens.
void allowPortAfterStop(Handle handle);

// Listens on one address; nothing, and why in outError, when that cannot be.
Listening listen(const Address& address, std::string& outError);

// Done: a connection, its peer in outPeer. Failed: a connection was refused for want of
// descriptors, or could not even be refused, in which case the call took a few milliseconds so
// that a loop around it does not spin.
Attempt accept(Listening& listening, Address& outPeer);

void close(Listening& listening);

} // namespace net::tcp
