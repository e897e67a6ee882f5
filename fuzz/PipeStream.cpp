#include "dm/comm/IncomingNotifications.h"
#include "dm/comm/IncomingRequests.h"
#include "fuzz/Checks.h"
#include "zul/common/FrameDecoder.h"

#include <algorithm>
#include <functional>

namespace fuzz {

namespace {

class PipeStream
{
public:
    /// False when the stream is broken beyond this piece.
    bool feed(const std::uint8_t* data, size_t size)
    {
        const auto space = decoder.space();
        require(space.size() >= size); // every frame was taken, so there is room
        std::copy_n(data, size, space.data());
        decoder.commit(static_cast<net::u32>(size));
        net::Frame frame;
        for (;;) {
            const auto status = decoder.next(frame);
            if (status != net::FrameDecoder::Status::Complete)
                return status == net::FrameDecoder::Status::Incomplete;
            net::Packet packet(0);
            net::PacketAccess::showFrame(packet, frame);
            note('p', packet.getID() == dm::kPipePacketId ? dispatch(packet) : -1);
        }
    }

    std::string account;

private:
    template <typename Value>
    void note(char what, Value value)
    {
        account += what + std::to_string(static_cast<long long>(value));
    }

    int dispatch(net::Packet& packet)
    {
        using enum dm::MessageKind;
        switch (dm::readKind(packet)) {
        case OpenPipe:
            return decode<dm::OpenPipeMessage>(packet, [&](auto&) {
                requests.reset();
                notifications.beginConnection();
            });
        case PipeOpened:
            return decode<dm::PipeNameMessage>(packet, [&](auto&) { takeAll(); });
        case PipeRefused:
            return decode<dm::PipeNameMessage>(packet);
        case Request:
            return decode<dm::RequestMessage>(packet, [&](auto& message) {
                note('r', requests.accept(message, packet, budget));
            });
        case Response:
            return decode<dm::ResponseMessage>(packet);
        case Notify:
            return decode<dm::NotifyMessage>(packet, [&](auto& message) {
                note('n', notifications.accept(message, packet, budget));
            });
        case Redirect:
            return decode<dm::RedirectMessage>(packet);
        case Welcome:
            return decode<dm::WelcomeMessage>(packet, [&](auto&) { answerOne(); });
        }
        return -1;
    }

    template <typename Message>
    int decode(
        net::Packet& packet, const std::function<void(Message&)>& handle = [](auto&) {})
    {
        Message message;
        if (!dm::decode(packet, packet.getSize(), message))
            return 0;
        handle(message);
        return 1;
    }

    void answerOne()
    {
        if (!requests.takeOldest())
            return;
        // Every byte that was announced can be read, whether it arrived or not.
        const dm::IncomingRequest taken = requests.takeCurrent();
        const auto* bytes = static_cast<const std::uint8_t*>(taken.data.data());
        const dm::uint32 looked = std::min(taken.dataSize, 4096u);
        for (dm::uint32 i = 0; i < looked; ++i)
            note('d', bytes[i] + bytes[taken.dataSize - 1 - i]);
    }

    void takeAll()
    {
        zu::InplaceString<128> text;
        while (notifications.takeOldest(text, nullptr))
            note('t', text.length());
        note('q', requests.takeOldest());
    }

    net::FrameDecoder decoder;
    dm::IncomingRequests requests;
    dm::IncomingNotifications notifications;
    std::shared_ptr<dm::IncomingBudget> budget = std::make_shared<dm::IncomingBudget>();
};

// What was made of it.
std::string account(const std::uint8_t* data, size_t size, size_t pieceBytes)
{
    PipeStream stream;
    while (size > 0) {
        const size_t piece = std::min(size, pieceBytes);
        if (!stream.feed(data, piece))
            return stream.account + "broken";
        data += piece;
        size -= piece;
    }
    return stream.account;
}

} // namespace

void checkPipeStream(const std::uint8_t* data, size_t size)
{
    const std::string inOnePiece = account(data, size, 4096);
    for (const size_t pieceBytes : {size_t{1}, size_t{7}})
        require(account(data, size, pieceBytes) == inOnePiece);
}

} // namespace fuzz
