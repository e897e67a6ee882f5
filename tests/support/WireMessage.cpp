#include "support/WireMessage.h"

#include <utility>

namespace support {

namespace {

struct Writer
{
    std::string out{};

    void operator()(std::uint32_t number, int bytes = 4)
    {
        for (int i = 0; i < bytes; ++i)
            out += static_cast<char>(number >> (8 * i));
    }
    void operator()(const std::string& text)
    {
        (*this)(static_cast<std::uint32_t>(text.size()));
        out.append(text.c_str(), text.size() + 1);
    }
    void chunk(const WireMessage& message)
    {
        const auto bytes = static_cast<std::uint32_t>(message.chunk.size());
        (*this)(message.claimedChunk.value_or(bytes));
        out += message.chunk;
    }
};

struct Reader
{
    std::string_view rest;
    bool good = true;

    std::string_view bytes(size_t count)
    {
        good = good && count <= rest.size();
        const std::string_view taken = rest.substr(0, good ? count : 0);
        rest.remove_prefix(taken.size());
        return taken;
    }
    void operator()(std::uint32_t& number)
    {
        number = 0;
        int shift = 0;
        for (const char byte : bytes(4))
            number |= std::uint32_t{static_cast<unsigned char>(byte)}
                      << std::exchange(shift, shift + 8);
    }
    void operator()(std::string& text)
    {
        std::uint32_t length = 0;
        (*this)(length);
        text = bytes(length);
        good = good && bytes(1) == std::string_view("\0", 1);
    }
    void chunk(WireMessage& message)
    {
        std::uint32_t count = 0;
        (*this)(count);
        message.chunk = bytes(count);
    }
};

/// Visits the fields in the order they have on the wire.
template <typename Message, typename Fields>
void visit(Message& message, Fields& fields)
{
    fields(message.kind);
    const std::uint32_t kind = message.kind;
    if (kind == WireMessage::Welcome) {
        fields(message.value);
        fields(message.id);
    }
    fields(message.name);
    if (kind == WireMessage::OpenPipe)
        fields(message.text);
    if (kind == WireMessage::Redirect)
        fields(message.value);
    if (kind < WireMessage::Request || kind > WireMessage::Notify)
        return;
    fields(message.id);
    if (kind != WireMessage::Response)
        fields(message.value);
    if (kind != WireMessage::Notify)
        fields(message.text);
    fields(message.total);
    fields(message.offset);
    fields.chunk(message);
}

WireMessage whole(WireMessage message, std::string data)
{
    message.total = static_cast<std::uint32_t>(data.size());
    message.chunk = std::move(data);
    return message;
}

} // namespace

std::string WireMessage::payload() const
{
    Writer writer;
    visit(*this, writer);
    return writer.out;
}

std::optional<WireMessage> WireMessage::parse(std::string_view payload)
{
    Reader reader{payload};
    WireMessage message;
    visit(message, reader);
    if (!reader.good || !reader.rest.empty() || message.kind > Welcome)
        return std::nullopt;
    return message;
}

std::ostream& operator<<(std::ostream& out, const WireMessage& message)
{
    return out << "kind " << message.kind << " '" << message.name << "' '" << message.text << "'";
}

std::string frameOf(std::string_view payload, std::uint32_t packetId)
{
    Writer writer{"\xD5\x7A"};
    writer(packetId, 2);
    writer(static_cast<std::uint32_t>(payload.size()));
    return writer.out.append(payload);
}

WireMessage openPipe(std::string pipe, std::string sender)
{
    return {.kind = WireMessage::OpenPipe, .name = std::move(pipe), .text = std::move(sender)};
}

WireMessage pipeOpened(std::string pipe)
{
    return {.kind = WireMessage::PipeOpened, .name = std::move(pipe)};
}

WireMessage welcome(std::uint32_t connectionId, std::uint32_t version)
{
    return {.kind = WireMessage::Welcome, .name = "scripted", .id = connectionId, .value = version};
}

WireMessage redirect(std::string host, std::uint32_t port)
{
    return {.kind = WireMessage::Redirect, .name = std::move(host), .value = port};
}

WireMessage request(std::string pipe, std::uint32_t id, std::string text, std::string data)
{
    return whole({.kind = WireMessage::Request, .name = pipe, .text = text, .id = id}, data);
}

WireMessage response(std::string pipe, std::uint32_t id, std::string text, std::string data)
{
    return whole({.kind = WireMessage::Response, .name = pipe, .text = text, .id = id}, data);
}

WireMessage notify(std::string pipe, std::uint32_t id, std::string text, std::uint32_t value)
{
    return whole({.kind = WireMessage::Notify, .name = pipe, .id = id, .value = value}, text);
}

WireMessage piece(WireMessage whole, std::uint32_t offset, std::uint32_t bytes)
{
    whole.offset = offset;
    whole.chunk = whole.chunk.substr(offset, bytes);
    return whole;
}

} // namespace support
