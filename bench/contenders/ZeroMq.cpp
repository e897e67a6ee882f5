#include "bench/contenders/Contenders.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>
#include <zmq.h>

namespace bench {
namespace {

void check(int result, const char* what)
{
    if (result < 0)
        throw std::runtime_error(std::string(what) + ": " + zmq_strerror(zmq_errno()));
}

class Context
{
public:
    Context()
        : context(zmq_ctx_new())
    {
    }
    ~Context() { zmq_ctx_term(context); }
    Context(const Context&) = delete;
    Context& operator=(const Context&) = delete;
    void* get() const { return context; }

private:
    void* context;
};

class Socket
{
public:
    Socket(const Context& context, int type)
        : socket(zmq_socket(context.get(), type))
    {
        if (socket == nullptr)
            throw std::runtime_error("zmq_socket");
        const int linger = 0;
        zmq_setsockopt(socket, ZMQ_LINGER, &linger, sizeof linger);
    }
    ~Socket() { zmq_close(socket); }
    Socket(const Socket&) = delete;
    Socket& operator=(const Socket&) = delete;

    void connect(uint16_t port)
    {
        const std::string address = "tcp://127.0.0.1:" + std::to_string(port);
        check(zmq_connect(socket, address.c_str()), "zmq_connect");
    }

    unsigned bind()
    {
        check(zmq_bind(socket, "tcp://127.0.0.1:*"), "zmq_bind");
        char address[64];
        size_t length = sizeof address;
        check(zmq_getsockopt(socket, ZMQ_LAST_ENDPOINT, address, &length), "ZMQ_LAST_ENDPOINT");
        return static_cast<unsigned>(std::stoul(std::strrchr(address, ':') + 1));
    }

    /// Sends a copy of the bytes, as an interface does that lends them only for the call.
    void send(const void* data, size_t size, int flags = 0)
    {
        zmq_msg_t message;
        check(zmq_msg_init_size(&message, size), "zmq_msg_init_size");
        std::memcpy(zmq_msg_data(&message), data, size);
        check(zmq_msg_send(&message, socket, flags), "zmq_msg_send");
    }

    /// Receives a message and copies it out; returns its size.
    size_t receive(std::span<char> to)
    {
        zmq_msg_t message;
        zmq_msg_init(&message);
        check(zmq_msg_recv(&message, socket, 0), "zmq_msg_recv");
        const size_t size = zmq_msg_size(&message);
        std::memcpy(to.data(), zmq_msg_data(&message), std::min(size, to.size()));
        zmq_msg_close(&message);
        return size;
    }

private:
    void* socket;
};

class ZeroMqClient : public Client
{
public:
    ZeroMqClient(const Context& context, int type, uint16_t port)
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
    Socket socket;
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
    Context context;
    int type;
    uint16_t port;
};

void serveReply(const Setup& setup)
{
    const std::vector<char> answer(setup.answerBytes, 'a');
    const Context context;
    Socket socket(context, ZMQ_REP);
    announcePort(socket.bind());
    for (char request[kSmallBytes];;) {
        socket.receive(request);
        socket.send(answer.data(), answer.size());
    }
}

void serveRouter(const Setup&)
{
    const Context context;
    Socket socket(context, ZMQ_ROUTER);
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
    Context context;
    Socket control;
    Socket push;
};

void servePull(const Setup&)
{
    const Context context;
    Socket control(context, ZMQ_REP);
    Socket pull(context, ZMQ_PULL);
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
