#include "ConnectionFixture.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <sys/resource.h>

using net::Listener;
using net::Socket;
using support::waitUntil;

static bool acceptsConnection(Listener& listener, const char* host)
{
    Socket client;
    std::unique_ptr<Socket> accepted;
    return connectAndAccept(client, listener, accepted, host);
}

TEST(Listener, IsDeadAndSaysSoWhenThePortIsTaken)
{
    Listener first(0);
    testing::internal::CaptureStderr();
    Listener second(static_cast<int>(first.getPort()));
    Listener outOfRange(70000);
    std::string message = testing::internal::GetCapturedStderr();
    EXPECT_NE(message.find("127.0.0.1 port " + std::to_string(first.getPort())), std::string::npos);
    EXPECT_NE(message.find("70000"), std::string::npos);
    EXPECT_FALSE(second.isListening() || outOfRange.isListening());
    EXPECT_FALSE(second.getWaitHandle().isValid());
    EXPECT_EQ(second.pollConnect(), nullptr);
    second.update();
    EXPECT_TRUE(acceptsConnection(first, "localhost"));
}

TEST(Listener, ListensWhereItIsTold)
{
    EXPECT_EQ(net::getListenAddress(), "127.0.0.1");
    setenv("ZUL_LISTEN_ADDRESS", "127.0.0.2", 1);
    Listener byEnvironment(0);
    EXPECT_TRUE(acceptsConnection(byEnvironment, "127.0.0.2"));
    EXPECT_FALSE(acceptsConnection(byEnvironment, "127.0.0.1"));
    net::setListenAddress("0.0.0.0");
    Listener everywhere(0);
    EXPECT_TRUE(acceptsConnection(everywhere, "127.0.0.2"));
    net::setListenAddress("nowhere");
    EXPECT_FALSE(Listener(0).isListening());
    net::setListenAddress("");
    unsetenv("ZUL_LISTEN_ADDRESS");
}

TEST(Listener, TurnsConnectionsAwayWhileNoDescriptorIsLeft)
{
    Listener listener(0);
    Socket client;
    client.connect("127.0.0.1", listener.getPort());
    ASSERT_TRUE(waitUntil([&] {
        client.update();
        return client.isConnected();
    }));
    testing::internal::CaptureStderr();
    rlimit usual{};
    getrlimit(RLIMIT_NOFILE, &usual);
    rlimit small{std::min<rlim_t>(usual.rlim_cur, 256), usual.rlim_max};
    setrlimit(RLIMIT_NOFILE, &small);
    std::vector<std::unique_ptr<std::ifstream>> hoard;
    do
        hoard.push_back(std::make_unique<std::ifstream>("/dev/null"));
    while (hoard.back()->is_open());
    EXPECT_EQ(listener.pollConnect(), nullptr);
    zu::WaitHandle handle = listener.getWaitHandle();
    EXPECT_EQ(zu::waitAny(&handle, 1, 0), -1); // the queue is empty: a loop would not spin
    hoard.clear();
    setrlimit(RLIMIT_NOFILE, &usual);
    EXPECT_EQ(listener.getRefusedCount(), 1u);
    EXPECT_NE(testing::internal::GetCapturedStderr().find("no descriptor left"), std::string::npos);
    EXPECT_TRUE(waitUntil([&] {
        client.update();
        return !client.isConnected();
    }));
    EXPECT_TRUE(acceptsConnection(listener, "127.0.0.1"));
}
