/// Pipes: named two-way channels between processes over TCP.
///
/// A process opens a manager, as a server that listens or as a client that keeps one connection
/// alive, and asks it for pipes by name. Two pipes of one name, one at each end, are joined as
/// soon as the ends are connected, and joined again by themselves after every lost connection.
///
///     #include <dm/comm.h>
///     #include <cstdio>
///     #include <thread>
///
///     int main() // both ends, which usually are programs of their own
///     {
///         dm::setResponseCapacityEnforced(true);
///         dm::initCommunicationManagerAsServer("game", 3500, 1, true);
///         std::thread game([] {
///             dm::CommunicationPipe* pipe = dm::getCommunicationPipe("game", "assets");
///             while (pipe->receiveRequest(nullptr).empty()) // "" while there is none
///                 zu::sleepMs(1);
///             pipe->respond("ok", "three vertices", 14);
///         });
///
///         dm::initCommunicationManagerAsClient("tool", "127.0.0.1", 3500);
///         dm::CommunicationPipe* pipe = dm::getCommunicationPipe("tool", "assets");
///         char data[256];
///         dm::uint32 size = 0;
///         auto text = pipe->sendRequest("hero.mesh", 0, data, sizeof data, &size, nullptr, 0);
///         std::printf("%s, %u bytes\n", text.c_str(), size);
///
///         game.join();
///         dm::deinitCommunicationManagers();
///     }
///
/// When not: for traffic that must never wait, use notifications; for anything beyond a trusted
/// development network, nothing here: pipes are neither authenticated nor encrypted. A server
/// listens on the loopback address until net::setListenAddress opens it.
///
/// Threads: every function may be called from any thread, except that the callbacks below run on
/// the manager's own thread, and nothing that waits (sendRequest, respond, deinit...) may be
/// called there: the thread would wait for itself.
/// Ownership: managers are the library's, from init to deinit; pipes are their manager's. Data is
/// lent to a call until it returns. What a callback has as context stays the program's.
/// Errors: a connection that is not there, or is lost, is no error: what waits goes on waiting, and
/// what does not gives "", null or false. getConnectionStatus tells why there is none.
/// Limits: stand at what they limit, those of single messages at CommunicationPipe. A client tries
/// every half second to connect. Of what an end does not take, its manager keeps 256 MiB of
/// notifications and 1024 requests a pipe, and of all that came over one connection 1 GiB and 16
/// MiB, so that a request with 1 GiB of data fits; what is more is dropped, with one message a
/// connection on stderr. Other ends cannot make pipes of a manager that has 4096, each of which
/// takes some 25 KiB. A name of more than 1024 bytes is refused by every other end.
/// Order: first init, then pipes and their callbacks, at last deinit, when no thread is about to
/// use a pipe: closeCommunicationManager lets those go that wait on one, flushCommunicationManager
/// lets what was sent last go out. After deinit contexts of callbacks may go. On one pipe requests
/// arrive in the order in which they were sent, and so do notifications; the two may overtake each
/// other, and so may different pipes.
#pragma once

#include <dm/export.h>
#include <zul/InplaceString.h>
#include <zul/String.h>
#include <zul/Thread.h>
#include <zul/Types.h>
#include <zul/Vector.h>

#include <cstddef>

namespace net {
class Packet;
}

namespace dm {

using uint8 = zu::uint8;
using uint32 = zu::uint32;

class CommunicationPipe;
class CommunicationPipeManager;

/// A context pointer and the function it is handed to as first argument. Counts as set when either
/// is non-null; a null function is never called, even with a context beside it.
template <typename... Arguments>
struct Callback
{
    void* context = nullptr;
    void (*function)(void* context, Arguments... arguments) = nullptr;

    bool isSet() const { return context != nullptr || function != nullptr; }
};

using PipeCallback = Callback<CommunicationPipe*>;
using ClientConnectionCallback = Callback<CommunicationPipeManager*>;
using PipeCreateCallback = Callback<CommunicationPipeManager*, CommunicationPipe*>;

/// One named channel between two managers: requests that are answered, and notifications.
///
/// Threads: any, unless said otherwise. Callbacks run on the manager's thread, outside every lock
/// of the pipe. One thread a pipe should take requests and answer them: a pipe has a single slot
/// for the request being answered, and taking the next one gives up the answer to the last.
/// Ownership: the manager's; a pipe lives exactly as long as its manager.
/// Limits: texts of requests and responses at most kMaxTextBytes, data at most 4 GiB - 1 bytes,
/// which is what 32 bits count. Eight requests of a pipe are on their way at a time; more wait for
/// their turn on this side.
class DM_API CommunicationPipe
{
public:
    /// The longest text a request or response carries, in bytes; a longer one is refused with a
    /// message on stderr. Text travels with every chunk of the data, in one packet of at most
    /// net::kMaxPayloadBytes with it, so keep it short.
    static constexpr uint32 kMaxTextBytes = 256 * 1024;

    /// How much notification text a pipe keeps for an end that does not read, in bytes: a bound
    /// against one that stands still.
    static constexpr uint32 kMaxQueuedNotifyBytes = 64 * 1024 * 1024;

    /// The name the pipe was made with. Letter case does not distinguish names.
    virtual const char* getName() = 0;

    /// True while a connection is attached; stays true until the manager has seen a lost one.
    virtual bool isConnected() = 0;

    /// Never null.
    virtual CommunicationPipeManager* getManager() = 0;

    /// The address of the other end in numbers, "" while not connected.
    virtual zu::InplaceString<128> getConnectedIP() = 0;

    /// Queues a text for the other end and returns at once.
    ///
    ///   text    of any length; a zero-terminated string.
    ///   value   handed to the receiver; 0 is replaced by this manager's id.
    ///
    /// Returns false, and queues nothing, while the pipe is not connected, and when
    /// the queue is full because the other end does not read (kMaxQueuedNotifyBytes). A connection
    /// lost later drops what was still queued.
    virtual bool sendNotify(const char* text, uint32 value) = 0;

    /// Takes the oldest notification.
    ///
    ///   outValue   receives its value; may be null; untouched when there is none.
    ///
    /// Returns its text, or "" when there is none yet. One that is still arriving holds back the
    /// newer ones, so the order is always the sender's.
    virtual zu::InplaceString<128> receiveNotify(uint32* outValue) = 0;

    /// Asks the other end and waits for its answer.
    ///
    ///   text               request text; "" cannot be told from "none" by the receiver.
    ///   value              handed to the receiver as it is.
    ///   responseBuffer     receives the answer's data; may be null, then the data is dropped.
    ///   responseCapacity   its size in bytes. NOT enforced, a larger answer is written past it,
    ///                      until setResponseCapacityEnforced(true) was called.
    ///   outResponseSize    receives the answer's full data size in bytes, which may exceed the
    ///                      capacity; may be null; untouched when the pipe closes first.
    ///   data, dataSize     bytes sent along, lent until return; null and 0 for none.
    ///
    /// Returns the answer's text; "" when the manager is deinitialised while waiting. A lost
    /// connection does not end the wait: the request is sent again after the next attach, so
    /// the receiver may see it twice.
    ///
    /// Threads: any but the manager's own. Blocks without limit.
    virtual zu::InplaceString<128> sendRequest(const char* text, uint32 value, void* responseBuffer,
                                               uint32 responseCapacity, uint32* outResponseSize,
                                               const void* data, uint32 dataSize) = 0;

    /// Takes the oldest request, which becomes the one that getRequestData and respond refer to.
    ///
    ///   outValue   receives its value; may be null; untouched when there is none.
    ///
    /// Returns its text, or "" when there is none. A polling caller may be handed a request whose
    /// data is still arriving; after the request callback one complete request is at the head.
    virtual zu::InplaceString<128> receiveRequest(uint32* outValue) = 0;

    /// The data of the request taken last: null and 0 when there is none. The bytes belong to the
    /// pipe and live until respond, the next receiveRequest or a new connection.
    virtual void getRequestData(void** outData, uint32* outSize) = 0;

    /// Answers the request taken last and waits until the answer is handed to the connection.
    ///
    ///   data, dataSize   bytes sent along, lent until return; null and 0 for none.
    ///
    /// Returns at once, sending nothing, when the request came over an earlier connection: it will
    /// come again. While not connected it waits for a connection or for deinitialisation.
    ///
    /// Threads: any but the manager's own. Blocks without limit while the other end does not read.
    virtual void respond(const char* text, const void* data, uint32 dataSize) = 0;

    /// The three below replace a callback; an empty one removes it. When they return, the previous
    /// callback is not running on another thread and will not run again, so its context may go;
    /// the caller must hold no lock that the previous callback waits for. Allowed from callbacks.
    /// What arrived before is not announced any more: look once after setting, or set them in the
    /// pipe-create callback, before anything can arrive.

    /// Called each time a connection has been attached.
    virtual void setConnectionCallback(PipeCallback callback) = 0;
    /// Called once for each notification that has arrived whole.
    virtual void setNotifyCallback(PipeCallback callback) = 0;
    /// Called once for each request that has arrived whole. Hand the work to another thread: take
    /// one request, answer it, then take the next.
    virtual void setRequestCallback(PipeCallback callback) = 0;

    virtual ~CommunicationPipe();
};

/// One endpoint: its pipes, and the thread that does all its socket work.
///
/// Threads: any. Callbacks run on the manager's own, but for the pipe-create callback.
/// Ownership: made and destroyed only by the init and deinit functions below. Texts returned as
/// pointers stay valid as long as the manager, also when they are replaced.
class DM_API CommunicationPipeManager : public zu::Thread
{
public:
    ~CommunicationPipeManager() override;

    /// The thread's body; not for callers.
    int run() override = 0;

    virtual bool isClient() = 0;
    virtual bool isServer() = 0;

    /// The name this end presents to the other, at first the one it was made with.
    /// A new name goes with the next pipe that a client opens, or to the next client of a server;
    /// the manager is still found by its first.
    virtual const char* getName() = 0;
    virtual void setName(const char* name) = 0;

    /// The other end's name, "" before the first contact. On a server the last client to open a
    /// pipe wins.
    virtual const char* getRemoteName() = 0;

    /// A server's own id, given at init; a client's connection number, 0 until it is welcomed.
    virtual uint32 getID() = 0;

    /// Finds the pipe of that name or makes it. Never null. Never blocks on the network, but runs
    /// the pipe-create callback on this thread when it makes one.
    virtual CommunicationPipe* getPipe(const char* pipeName) = 0;

    /// The configured address: where a client connects, where a server listens. A server made with
    /// port 0 reports the port that the system gave it; see getConnectionStatus for whether it
    /// could listen at all.
    virtual const char* getHost(uint32* outPort) = 0;

    /// A client's new address, used at its next connection attempt. Does not drop a connection.
    virtual void setHost(const char* host, uint32 port) = 0;

    /// On a server: sends exactly the next accepted client on to this address, provided a
    /// client-connection callback is set. On a client: the address to try first.
    virtual void setRedirect(const char* host, uint32 port) = 0;

    /// Called on the manager's thread: on a server for each accepted client, on a client each time
    /// it is welcomed. For replacing callbacks see CommunicationPipe.
    virtual void setClientConnectionCallback(ClientConnectionCallback callback) = 0;

    /// Called for each pipe made, before getPipe returns it: on the caller's thread from getPipe,
    /// on the manager's when the other end asked for it. Others who make pipes wait meanwhile, so
    /// it must not wait for a job manager: no addJob, no runJobs.
    virtual void setPipeCreateCallback(PipeCreateCallback callback) = 0;

    /// Whether the pipe exists; never makes it.
    virtual bool pipeExists(const char* pipeName);
};

/// Makes a server manager that listens on `port` (0: any free one, see getHost) and files it under
/// `name`. A manager already filed there is replaced but keeps running, with its port: deinitialise
/// it first unless that is what you want. A taken port leaves a manager nobody can connect to, and
/// a message on stderr.
///
///   id                     sent in place of value 0 with notifications.
///   createPipesOnRequest   whether a client may open pipes that do not exist here yet.
DM_API CommunicationPipeManager*
initCommunicationManagerAsServer(const char* name, int port, uint32 id, bool createPipesOnRequest);

/// The same with its client-connection callback in place before the first client can come, which
/// may be at once: one whose port is known beforehand, and that redirects everybody.
DM_API CommunicationPipeManager*
initCommunicationManagerAsServer(const char* name, int port, uint32 id, bool createPipesOnRequest,
                                 ClientConnectionCallback callback);

/// Makes a client manager that starts connecting at once and never stops trying, or returns the
/// manager already filed under `name` unchanged, whatever its kind and address.
DM_API CommunicationPipeManager* initCommunicationManagerAsClient(const char* name,
                                                                  const char* host, int port);

/// The manager of that name, or null. Letter case does not distinguish names.
DM_API CommunicationPipeManager* getCommunicationPipeManager(const char* name);

/// The only manager, or null when there is none or more than one. After
/// deinitCommunicationManagers() it keeps its last value, which must not be used.
DM_API CommunicationPipeManager* getCommunicationPipeManager();

DM_API bool communicationPipeManagerExists(const char* name);
/// True when there is no manager at all.
DM_API bool isCommunicationPipeManagerMapEmpty();

/// The pipe of the named manager, made if absent; null when there is no such manager. The two names
/// mean the same.
DM_API CommunicationPipe* getCommunicationPipe(const char* managerName, const char* pipeName);
DM_API CommunicationPipe* getCommunicationPipeChecked(const char* managerName,
                                                      const char* pipeName);

/// The pipe of the only manager, made if absent; null when there is not exactly one. The two names
/// mean the same.
DM_API CommunicationPipe* getCommunicationPipe(const char* pipeName);
DM_API CommunicationPipe* getCommunicationPipeChecked(const char* pipeName);

/// Whether the only manager has that pipe. Never makes it; false without exactly one manager.
DM_API bool isResourceHotLoadPipeCreated(const char* pipeName);

/// What became of the messages queued since the last flush.
enum class FlushResult : int
{
    Flushed,  ///< handed to the system: on their way, whatever becomes of the connection
    Lost,     ///< some went with a connection that was lost
    TimedOut, ///< some are still queued
    NoSuchManager,
};

/// Waits until everything queued on the manager's connected pipes has been handed to the system,
/// for `timeoutMs` at most. For programs that send and exit: sendNotify and respond return before.
/// Requests and answers count as queued, not lost, when their connection goes: they wait for the
/// next.
DM_API FlushResult flushCommunicationManager(const char* name, uint32 timeoutMs);

/// Removes the manager from the registry, wakes everybody blocked on its pipes with "", stops its
/// thread and destroys it with its pipes, in at most a fifth of a second and as long as its own
/// callbacks run. Unknown names are ignored. From a callback of any manager it only removes and
/// stops it; an init, deinit or look-up by name on another thread destroys it later.
///
/// Callers already blocked on a pipe are woken and waited for. A thread that is just about to call
/// one of the pipe's functions is not: stop using the pipes first, see closeCommunicationManager.
DM_API void deinitCommunicationManager(const char* name);

/// The same for all managers, those made meanwhile by callbacks included.
DM_API void deinitCommunicationManagers();

/// The first half of deinitialising, for threads that still use the pipes: everybody blocked on one
/// is woken with "", whoever comes later returns at once, and the connections end. Manager and
/// pipes stay, good for nothing, until deinitCommunicationManager, which is to follow when those
/// threads have ended. Returns at once. Allowed from callbacks.
DM_API void closeCommunicationManager(const char* name);

/// How a client manager's connection stands, for tools that want to say more than "not connected".
struct ConnectionStatus
{
    enum State : int
    {
        NoSuchManager,
        Disconnected, ///< no connection; the next attempt comes within half a second
        Connecting,   ///< an attempt is under way
        Connected,    ///< the connection is up (pipes attach a moment later)
    };
    State state = NoSuchManager;
    uint32 attempts = 0;        ///< connection attempts that failed since init
    uint32 connections = 0;     ///< connections that were welcomed, or accepted, since init
    uint32 protocolVersion = 0; ///< the version of the last server met, 0 before the first
    zu::InplaceString<128>
        lastFailure; ///< why the last attempt or connection ended, "" if none did
};

/// A server manager is Connected while it listens and Disconnected when it could not, with the
/// reason in lastFailure.
DM_API ConnectionStatus getConnectionStatus(const char* managerName);

/// How far the oldest unanswered request of a pipe has come, for progress displays.
struct TransferProgress
{
    bool active = false;      ///< whether there is a request waiting for its answer
    uint32 sentBytes = 0;     ///< of the request's data, handed to the connection
    uint32 sendTotal = 0;     ///< the request's data size
    uint32 receivedBytes = 0; ///< of the answer's data, so far
    uint32 receiveTotal = 0;  ///< the answer's data size, 0 until its first chunk
};

DM_API TransferProgress getTransferProgress(CommunicationPipe* pipe);

/// Whether the data of the request taken last has all arrived, every byte. A request callback alone
/// does not say so of an end that is not honest: it may leave bytes out, or begin a second request
/// in the middle of one. Ask right after receiveRequest, before the data is acted on.
DM_API bool isRequestWhole(CommunicationPipe& pipe);

/// Where the data of an answer comes from, piece by piece.
struct ResponseSource
{
    void* context = nullptr;
    /// Fills the buffer with the `size` bytes of the answer from `offset` on.
    ///
    /// Called on the answering thread without any lock, in order, each byte once. Returns false
    /// when the answer cannot be given as announced. Must not throw, and must return: while it
    /// runs, the pipe's manager cannot be deinitialised.
    bool (*read)(void* context, uint32 offset, void* buffer, uint32 size) = nullptr;
};

/// Answers the request taken last, like CommunicationPipe::respond, with data that is never in
/// memory as a whole. For files and whatever else is large: the source is read a quarter of a MiB
/// at a time, some blocks ahead of what is being sent.
///
///   dataSize   of the whole answer, in bytes; 0 allowed, then the source is not read.
///
/// Returns true when the whole answer was handed to the connection. False, and the source is not
/// read any more, when that connection was lost or replaced by a new one: the request will come
/// again; and when the manager is deinitialised. False also when the source fails. What was
/// announced can then be neither completed nor taken back, so the connection is dropped, with a
/// message on stderr, and the other end asks again over the next one.
///
/// Threads: any but the manager's own. Blocks without limit while the other end does not read.
DM_API bool respondFrom(CommunicationPipe& pipe, const char* text, uint32 dataSize,
                        const ResponseSource& source);

/// On a server: the address of this machine at which its newest client has reached us, in numbers:
/// "127.0.0.1", "fd00::2". One that is IPv4 in IPv6 comes as IPv4; an IPv6 address that is good on
/// one network only names its interface behind a %. "" before the first client. The place to ask
/// is the client-connection callback, for a redirect to another port of this machine.
DM_API zu::InplaceString<128> getReachedAddress(CommunicationPipeManager& manager);

/// Process-wide: whether answers are cut at the capacity that sendRequest was given. Off by
/// default, for programs that rely on larger answers being stored; switch it on in every new one.
/// Its full size is reported either way.
DM_API void setResponseCapacityEnforced(bool enforced);
DM_API bool isResponseCapacityEnforced();

/// The version of the pipe protocol; both ends must have the same.
inline constexpr uint32 kPipeProtocolVersion = 2;

/// The id of all packets of pipes. A program greets whoever connects to it with one.
inline constexpr int kPipePacketId = 205;

/// What a program that listens for pipes says to whoever connects, for tools that look at one over
/// a socket of their own. All else needs a manager.
struct PipeServerMessage
{
    enum class Kind
    {
        Welcome,    ///< protocolVersion, and unless it is another one than ours, name: the server's
        Redirect,   ///< name is the host and port the port to go to; "" and 0 for the same again
        PipeOpened, ///< name is the pipe's
        PipeRefused, ///< as well
        Other,       ///< not about connecting, malformed, or not of pipes
    };
    Kind kind = Kind::Other;
    uint32 protocolVersion = 0;
    const char* name = "";
    uint32 port = 0;
};

/// Decodes a packet from a server. The name lives as long as the packet does.
DM_API PipeServerMessage readPipeServerMessage(net::Packet& packet);

/// Makes the packet one that asks a server for a pipe. Opened, the pipe is this connection's, and
/// no longer that of whoever had it.
DM_API void writeOpenPipe(net::Packet& packet, const char* pipeName, const char* senderName);

/// Writes two lower-case hexadecimal digits a byte into `out`, which becomes exactly twice `size`
/// characters long.
DM_API void binaryDataToString(const uint8* data, size_t size, zu::String& out);

/// Reads two hexadecimal digits a byte; an odd last character is ignored. A character that is no
/// digit counts as 255 and is not reported.
DM_API void stringToBinaryData(const zu::String& in, zu::Vector<char>& out);

} // namespace dm

namespace net {

/// Replaces every byte but letters, digits and $-_.+!*'(), by %XX.
DM_API zu::InplaceString<256> urlEncodeString(zu::InplaceString<128> in);

/// Undoes %NN escapes made of decimal digits. Letters count as their distance from '0', so %2F is
/// '6'; a lone % at the end becomes a zero character; + stays +.
DM_API zu::InplaceString<256> urlDecodeString(zu::InplaceString<128> in);

} // namespace net
