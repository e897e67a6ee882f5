// A listener, a client, and the socket accepted for it.
#pragma once

#include "support/WaitUntil.h"

#include <zul/Listener.h>
#include <zul/Socket.h>

#include <gtest/gtest.h>

class ConnectionFixture : public testing::Test
{
protected:
    bool connectPair()
    {
        client.connect("localhost", listener.getPort());
        return support::waitUntil([&] {
            client.update();
            if (!server)
                server.reset(listener.pollConnect());
            return server && client.isConnected();
        });
    }

    net::Listener listener{0};
    net::Socket client;
    std::unique_ptr<net::Socket> server;
};
