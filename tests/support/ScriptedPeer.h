/// The far end of a connection, played by a test: a plain socket that sends any message or bytes,
/// expects messages, stalls and drops as told. Whatever takes too long throws.
#pragma once

#include "support/WireMessage.h"

namespace support {

class ScriptedPeer
{
public:
    /// Connects as a client would; the Welcome is still to be read.
    static ScriptedPeer connectTo(std::uint32_t port);
    /// Connects, is welcomed and has the pipe opened.
    static ScriptedPeer attachTo(std::uint32_t port, const std::string& pipe);

    explicit ScriptedPeer(int openSocket)
        : descriptor(openSocket)
    {
    }
    ScriptedPeer(ScriptedPeer&& other) noexcept;
    ScriptedPeer& operator=(ScriptedPeer&& other) noexcept;
    ~ScriptedPeer() { close(); }

    /// Plays the server's part of the handshake for one pipe.
    void welcomeAndOpen(const std::string& pipe);

    /// False when the other end has closed.
    bool send(const WireMessage& message) { return sendRaw(frameOf(message.payload())); }
    bool sendRaw(std::string_view bytes);

    /// Waits for the next message of the kind; others are skipped, see hasSeen().
    WireMessage expect(WireMessage::Kind kind);
    /// Waits for a Request, Response or Notify with all its chunks, put together.
    WireMessage expectWhole(WireMessage::Kind kind);
    /// Waits for bytes of any kind: what came up to the end of these.
    std::string readUntil(std::string_view bytes);
    /// Waits until the other end closes.
    void expectClosed();
    bool hasSeen(WireMessage::Kind kind) const { return (seenKinds >> kind & 1) != 0; }

    /// Sends nothing more, but can still receive.
    void finish();
    /// Drops the connection, whatever is still on its way.
    void close();

private:
    bool readMore();
    bool takeMessage(WireMessage& message);

    int descriptor = -1;
    std::string unread;
    std::uint32_t seenKinds = 0; // a bit each
};

/// A port that nobody listens on (and that nobody is given for a while).
std::uint32_t unusedPort();

/// Accepts clients on a free loopback port.
class ScriptedServer
{
public:
    /// A backlog that nobody accepts from, once full, leaves further connects pending.
    explicit ScriptedServer(int backlog = 16);
    ~ScriptedServer();
    ScriptedServer(const ScriptedServer&) = delete;
    ScriptedServer& operator=(const ScriptedServer&) = delete;

    std::uint32_t port() const { return listenPort; }
    ScriptedPeer accept();

private:
    int descriptor = -1;
    std::uint32_t listenPort = 0;
};

} // namespace support
