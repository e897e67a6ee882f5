#include "bench/contenders/Contenders.h"

#include <stdexcept>
#include <thread>

namespace bench {
namespace {

class TcpClient : public Client
{
public:
    TcpClient(uint16_t port, const Setup& setup)
        : stream(TcpStream::connect(port))
        , answerBytes(setup.answerBytes)
    {
    }

    size_t ask(std::span<char> answer) override
    {
        const char request[kSmallBytes] = {};
        if (!stream.sendAll(request, sizeof request) ||
            !stream.receiveAll(answer.data(), answerBytes))
            throw std::runtime_error("connection lost");
        return answerBytes;
    }

private:
    TcpStream stream;
    size_t answerBytes;
};

void answerForever(TcpStream stream, const std::vector<char>& answer)
{
    char request[kSmallBytes];
    while (stream.receiveAll(request, sizeof request) &&
           stream.sendAll(answer.data(), answer.size())) {
    }
}

void serveTcp(const Setup& setup)
{
    const std::vector<char> answer(setup.answerBytes, 'a');
    TcpListener listener;
    announcePort(listener.port());
    for (;;)
        std::thread([&answer, stream = listener.accept()]() mutable {
            answerForever(std::move(stream), answer);
        }).detach();
}

} // namespace

RequestContender rawTcp()
{
    return {"tcp", serveTcp, [](uint16_t port, const Setup& setup) {
                return std::unique_ptr<Connection>(new SeparateClients<TcpClient>(port, setup));
            }};
}

} // namespace bench
