#include "bench/contenders/ZeroMqSocket.h"

namespace bench {
namespace {

class ZeroMqClient : public Client
{
public:
    ZeroMqClient(const ZeroMqContext& context, int type, uint16_t port)
        : socket(context, type)
    {
        socket.connect(port);
    }

    size_t ask(std::span<char> answer) override
    {
        const char request[kSmallBytes] = {};
        socket.send(request, sizeof request);
        return socket.receive(answer);
    }

private:
    ZeroMqSocket socket;
};

class ZeroMqConnection : public Connection
{
public:
    ZeroMqConnection(int socketType, uint16_t serverPort)
        : type(socketType)
        , port(serverPort)
    {
    }

    std::unique_ptr<Client> makeClient(unsigned) override
    {
        return std::make_unique<ZeroMqClient>(context, type, port);
    }

private:
    ZeroMqContext context;
    int type;
    uint16_t port;
};

void serveReply(const Setup& setup)
{
    const std::vector<char> answer(setup.answerBytes, 'a');
    const ZeroMqContext context;
    ZeroMqSocket socket(context, ZMQ_REP);
    announcePort(socket.bind());
    for (char request[kSmallBytes];;) {
        socket.receive(request);
        socket.send(answer.data(), answer.size());
    }
}

void serveRouter(const Setup&)
{
    const ZeroMqContext context;
    ZeroMqSocket socket(context, ZMQ_ROUTER);
    announcePort(socket.bind());
    char identity[256];
    char request[kSmallBytes];
    for (;;) {
        const size_t identityBytes = socket.receive(identity);
        const size_t bytes = socket.receive(request);
        socket.send(identity, identityBytes, ZMQ_SNDMORE);
        socket.send(request, bytes);
    }
}

// The announced port is a control socket: its first answer tells where to push to, every later one
// comes after the receiver has taken a last message, told by its first byte.
constexpr char kLast = 1;

class ZeroMqPush : public Notifier
{
public:
    explicit ZeroMqPush(uint16_t port)
        : control(context, ZMQ_REQ)
        , push(context, ZMQ_PUSH)
    {
        control.connect(port);
        char dataPort[16] = {};
        control.send("", 0);
        control.receive(dataPort);
        push.connect(static_cast<uint16_t>(std::stoul(dataPort)));
    }

    void notify() override
    {
        const char message[kSmallBytes] = {};
        push.send(message, sizeof message);
    }

    void finish() override
    {
        const char message[kSmallBytes] = {kLast};
        push.send(message, sizeof message);
        char done[1];
        control.send("", 0);
        control.receive(done);
    }

private:
    ZeroMqContext context;
    ZeroMqSocket control;
    ZeroMqSocket push;
};

void servePull(const Setup&)
{
    const ZeroMqContext context;
    ZeroMqSocket control(context, ZMQ_REP);
    ZeroMqSocket pull(context, ZMQ_PULL);
    const std::string dataPort = std::to_string(pull.bind());
    announcePort(control.bind());
    char message[kSmallBytes];
    control.receive(message);
    control.send(dataPort.data(), dataPort.size());
    for (;;) {
        do
            pull.receive(message);
        while (message[0] != kLast);
        char request[1];
        control.receive(request);
        control.send("", 0);
    }
}

} // namespace

RequestContender zeroMqRequests()
{
    return {"zeromq", serveReply, [](uint16_t port, const Setup&) {
                return std::unique_ptr<Connection>(new ZeroMqConnection(ZMQ_REQ, port));
            }};
}

RequestContender zeroMqRouter()
{
    return {"zeromq-router", serveRouter, [](uint16_t port, const Setup&) {
                return std::unique_ptr<Connection>(new ZeroMqConnection(ZMQ_DEALER, port));
            }};
}

NotifyContender zeroMqPush()
{
    return {"zeromq-push", servePull, [](uint16_t port, const Setup&) {
                return std::unique_ptr<Notifier>(new ZeroMqPush(port));
            }};
}

} // namespace bench
