#include "support/WireMessage.h"

namespace support {

namespace {

constexpr std::uint32_t kPipePacket = 205;

void putNumber(std::string& out, std::uint32_t number, int bytes = 4)
{
    for (int i = 0; i < bytes; ++i)
        out += static_cast<char>(number >> (8 * i));
}

void putText(std::string& out, std::string_view text)
{
    putNumber(out, static_cast<std::uint32_t>(text.size()));
    out.append(text);
    out += '\0';
}

struct Reader
{
    std::string_view rest;
    bool good = true;

    std::string_view bytes(size_t count)
    {
        good = good && count <= rest.size();
        if (!good)
            return {};
        const std::string_view taken = rest.substr(0, count);
        rest.remove_prefix(count);
        return taken;
    }
    std::uint32_t number()
    {
        std::uint32_t value = 0;
        int shift = 0;
        for (const char byte : bytes(4)) {
            value |= std::uint32_t{static_cast<unsigned char>(byte)} << shift;
            shift += 8;
        }
        return value;
    }
    std::string string()
    {
        const std::string text(bytes(number()));
        good = good && bytes(1) == std::string_view("\0", 1);
        return text;
    }
};

bool isPayloadKind(std::uint32_t kind)
{
    return kind == WireMessage::Request || kind == WireMessage::Response ||
           kind == WireMessage::Notify;
}

} // namespace

std::string WireMessage::payload() const
{
    std::string out;
    putNumber(out, kind);
    if (kind == Welcome) {
        putNumber(out, value);
        putNumber(out, id);
    }
    putText(out, name);
    if (kind == OpenPipe)
        putText(out, text);
    if (kind == Redirect)
        putNumber(out, value);
    if (!isPayloadKind(kind))
        return out;
    putNumber(out, id);
    if (kind != Response)
        putNumber(out, value);
    if (kind != Notify)
        putText(out, text);
    putNumber(out, total);
    putNumber(out, offset);
    putNumber(out, claimedChunk.value_or(static_cast<std::uint32_t>(chunk.size())));
    return out + chunk;
}

std::string WireMessage::frame() const { return frameOf(kPipePacket, payload()); }

std::optional<WireMessage> WireMessage::parse(std::string_view payload)
{
    Reader reader{payload};
    WireMessage message;
    message.kind = reader.number();
    if (message.kind == Welcome) {
        message.value = reader.number();
        message.id = reader.number();
    }
    message.name = reader.string();
    if (message.kind == OpenPipe)
        message.text = reader.string();
    if (message.kind == Redirect)
        message.value = reader.number();
    if (isPayloadKind(message.kind)) {
        message.id = reader.number();
        if (message.kind != Response)
            message.value = reader.number();
        if (message.kind != Notify)
            message.text = reader.string();
        message.total = reader.number();
        message.offset = reader.number();
        message.chunk = std::string(reader.bytes(reader.number()));
    }
    if (!reader.good || !reader.rest.empty() || message.kind > Welcome)
        return std::nullopt;
    return message;
}

std::ostream& operator<<(std::ostream& out, const WireMessage& message)
{
    return out << "kind " << message.kind << " '" << message.name << "' '" << message.text
               << "' id " << message.id << " value " << message.value << " chunk " << message.offset
               << '+' << message.chunk.size() << " of " << message.total;
}

std::string frameOf(std::uint32_t packetId, std::string_view payload)
{
    std::string out = "\xD5\x7A";
    putNumber(out, packetId, 2);
    putNumber(out, static_cast<std::uint32_t>(payload.size()));
    return out.append(payload);
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

static WireMessage whole(WireMessage message, std::string data)
{
    message.total = static_cast<std::uint32_t>(data.size());
    message.chunk = std::move(data);
    return message;
}

WireMessage request(std::string pipe, std::uint32_t id, std::string text, std::string data)
{
    return whole(
        {.kind = WireMessage::Request, .name = std::move(pipe), .text = std::move(text), .id = id},
        std::move(data));
}

WireMessage response(std::string pipe, std::uint32_t id, std::string text, std::string data)
{
    return whole(
        {.kind = WireMessage::Response, .name = std::move(pipe), .text = std::move(text), .id = id},
        std::move(data));
}

WireMessage notify(std::string pipe, std::uint32_t id, std::string text, std::uint32_t value)
{
    return whole({.kind = WireMessage::Notify, .name = std::move(pipe), .id = id, .value = value},
                 std::move(text));
}

WireMessage piece(const WireMessage& whole, std::uint32_t offset, std::uint32_t bytes)
{
    WireMessage part = whole;
    part.offset = offset;
    part.chunk = whole.chunk.substr(offset, bytes);
    return part;
}

} // namespace support
