/// libzmq's context and sockets with destructors.
#pragma once

#include "bench/contenders/Contenders.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>
#include <zmq.h>

namespace bench {

inline void checkZeroMq(int result, const char* what)
{
    if (result < 0)
        throw std::runtime_error(std::string(what) + ": " + zmq_strerror(zmq_errno()));
}

class ZeroMqContext
{
public:
    ZeroMqContext()
        : context(zmq_ctx_new())
    {
    }
    ~ZeroMqContext() { zmq_ctx_term(context); }
    ZeroMqContext(const ZeroMqContext&) = delete;
    ZeroMqContext& operator=(const ZeroMqContext&) = delete;
    void* get() const { return context; }

private:
    void* context;
};

class ZeroMqSocket
{
public:
    ZeroMqSocket(const ZeroMqContext& context, int type)
        : socket(zmq_socket(context.get(), type))
    {
        if (socket == nullptr)
            throw std::runtime_error("zmq_socket");
        const int linger = 0;
        zmq_setsockopt(socket, ZMQ_LINGER, &linger, sizeof linger);
    }
    ~ZeroMqSocket() { zmq_close(socket); }
    ZeroMqSocket(const ZeroMqSocket&) = delete;
    ZeroMqSocket& operator=(const ZeroMqSocket&) = delete;

    void set(int option, int value)
    {
        checkZeroMq(zmq_setsockopt(socket, option, &value, sizeof value), "zmq_setsockopt");
    }

    void connect(uint16_t port)
    {
        const std::string address = "tcp://127.0.0.1:" + std::to_string(port);
        checkZeroMq(zmq_connect(socket, address.c_str()), "zmq_connect");
    }

    unsigned bind()
    {
        checkZeroMq(zmq_bind(socket, "tcp://127.0.0.1:*"), "zmq_bind");
        char address[64];
        size_t length = sizeof address;
        checkZeroMq(zmq_getsockopt(socket, ZMQ_LAST_ENDPOINT, address, &length),
                    "ZMQ_LAST_ENDPOINT");
        return static_cast<unsigned>(std::stoul(std::strrchr(address, ':') + 1));
    }

    /// Sends a copy of the bytes, as an interface does that lends them only for the call.
    void send(const void* data, size_t size, int flags = 0)
    {
        zmq_msg_t message;
        checkZeroMq(zmq_msg_init_size(&message, size), "zmq_msg_init_size");
        std::memcpy(zmq_msg_data(&message), data, size);
        checkZeroMq(zmq_msg_send(&message, socket, flags), "zmq_msg_send");
    }

    /// Receives a message and copies it out; returns its size.
    size_t receive(std::span<char> to)
    {
        const long size = receive(to, 0);
        checkZeroMq(static_cast<int>(size), "zmq_msg_recv");
        return static_cast<size_t>(size);
    }

    /// The same for what is there already; negative when there is nothing.
    long tryReceive(std::span<char> to) { return receive(to, ZMQ_DONTWAIT); }

    void* get() const { return socket; }

private:
    long receive(std::span<char> to, int flags)
    {
        zmq_msg_t message;
        zmq_msg_init(&message);
        long size = -1;
        if (zmq_msg_recv(&message, socket, flags) >= 0) {
            size = static_cast<long>(zmq_msg_size(&message));
            std::memcpy(to.data(), zmq_msg_data(&message),
                        std::min(static_cast<size_t>(size), to.size()));
        }
        zmq_msg_close(&message);
        return size;
    }

    void* socket;
};

} // namespace bench
