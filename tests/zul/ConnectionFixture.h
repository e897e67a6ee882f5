// A listener, a client, and the socket accepted for it.
#pragma once

#include "support/WaitUntil.h"

#include <zul/Listener.h>
#include <zul/Socket.h>

#include <gtest/gtest.h>

inline bool connectAndAccept(net::Socket& client, net::Listener& listener,
                             std::unique_ptr<net::Socket>& server, const char* host)
{
    client.connect(host, listener.getPort());
    support::waitUntil([&] {
        client.update();
        if (!server)
            server.reset(listener.pollConnect());
        return !client.isPending() && (server || !client.isConnected());
    });
    return server && client.isConnected();
}

class ConnectionFixture : public testing::Test
{
protected:
    bool connectPair() { return connectAndAccept(client, listener, server, "localhost"); }

    net::Listener listener{0};
    net::Socket client;
    std::unique_ptr<net::Socket> server;
};
