/// Pipe messages as bytes on the wire, written a second time for the tests: a fault in the
/// library's own encoding cannot hide behind itself.
#pragma once

#include <cstdint>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>

namespace support {

/// Any of the eight messages. Which fields are used depends on the kind.
struct WireMessage
{
    enum Kind : std::uint32_t
    {
        OpenPipe,
        PipeOpened,
        PipeRefused,
        Request,
        Response,
        Notify,
        Redirect,
        Welcome,
    };

    std::uint32_t kind = OpenPipe;
    std::string name{};      ///< the pipe; the host of a Redirect; the server of a Welcome
    std::string text{};      ///< of a request or response; the sender's name of an OpenPipe
    std::uint32_t id = 0;    ///< request, notification or connection number
    std::uint32_t value = 0; ///< also the port of a Redirect and the version of a Welcome
    std::uint32_t total = 0;
    std::uint32_t offset = 0;
    std::string chunk{};
    std::optional<std::uint32_t> claimedChunk{}; ///< a chunk size that is a lie

    /// The fields as one packet's payload.
    std::string payload() const;
    static std::optional<WireMessage> parse(std::string_view payload);
};

std::ostream& operator<<(std::ostream& out, const WireMessage& message);

std::string frameOf(std::string_view payload, std::uint32_t packetId = 205);

WireMessage openPipe(std::string pipe, std::string sender = "scripted");
WireMessage pipeOpened(std::string pipe);
WireMessage welcome(std::uint32_t connectionId = 0, std::uint32_t version = 2);
WireMessage redirect(std::string host, std::uint32_t port);

/// Messages whose payload fits one packet.
WireMessage request(std::string pipe, std::uint32_t id, std::string text, std::string data = "");
WireMessage response(std::string pipe, std::uint32_t id, std::string text, std::string data = "");
WireMessage notify(std::string pipe, std::uint32_t id, std::string text, std::uint32_t value = 0);

/// The piece [offset, offset + bytes) of a message that carries its whole payload.
WireMessage piece(WireMessage whole, std::uint32_t offset, std::uint32_t bytes);

} // namespace support
