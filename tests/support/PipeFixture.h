/// Managers and pipes of one test, with verbs. Every manager is gone when the test ends.
#pragma once

#include "support/ScriptedPeer.h"
#include "support/WaitUntil.h"

#include <dm/comm.h>

#include <atomic>
#include <functional>
#include <future>
#include <gtest/gtest.h>

namespace support {

struct Answer
{
    std::string text;
    std::string data{};
    dm::uint32 size = 0; ///< as reported to the asker; not looked at in an answer to give

    bool operator==(const Answer& other) const { return text == other.text && data == other.data; }
};

inline std::ostream& operator<<(std::ostream& out, const Answer& answer)
{
    return out << '\'' << answer.text << "' with " << answer.data.size() << " bytes";
}

/// Deterministic bytes, zeros included, that differ from place to place.
std::string someBytes(size_t count, std::uint32_t seed = 1);

inline std::string toString(const zu::String& text) { return {text.c_str(), text.length()}; }

/// Asks and waits. `capacity` bytes are ready for the answer's data.
Answer ask(dm::CommunicationPipe* pipe, const std::string& text, const std::string& data = "",
           dm::uint32 value = 0, dm::uint32 capacity = 0);

inline auto askAside(dm::CommunicationPipe* pipe, std::string text, std::string data = "",
                     dm::uint32 capacity = 0, dm::uint32 value = 0)
{
    return std::async(std::launch::async, [=] { return ask(pipe, text, data, value, capacity); });
}

/// True when the asker has its answer within the limit.
template <typename Future>
bool isDone(Future& future, std::chrono::milliseconds limit = kLongLimit)
{
    return future.wait_for(limit) == std::future_status::ready;
}

/// Polls until a request is there and takes it.
std::string takeRequest(dm::CommunicationPipe* pipe, dm::uint32* value = nullptr);
std::string takeNotify(dm::CommunicationPipe* pipe, dm::uint32* value = nullptr);
std::string requestData(dm::CommunicationPipe* pipe);

/// Answers every request of a pipe on a thread of its own, one after the other, as the request
/// callback announces them: make it before any can arrive, destroy it before its manager.
class Responder
{
public:
    using Answering = std::function<Answer(const std::string& text, const std::string& data)>;

    explicit Responder(dm::CommunicationPipe* pipe, Answering answering = echo);
    ~Responder(); ///< after the answer being given

    static Answer echo(const std::string& text, const std::string& data) { return {text, data}; }

private:
    void announce();
    void run();

    dm::CommunicationPipe* pipe;
    Answering answering;
    std::atomic<int> announced{0};
    std::atomic<bool> stopping{false};
    std::thread thread;
};

/// One more each time a callback runs.
struct CallCounter
{
    std::atomic<int> calls{0};

    dm::PipeCallback onPipe() { return {this, count<dm::CommunicationPipe>}; }
    dm::ClientConnectionCallback onConnection()
    {
        return {this, count<dm::CommunicationPipeManager>};
    }
    bool reaches(int wanted)
    {
        return waitUntil([&] { return calls >= wanted; });
    }

private:
    template <typename Caller>
    static void count(void* self, Caller*)
    {
        ++static_cast<CallCounter*>(self)->calls;
    }
};

class PipeFixture : public testing::Test
{
protected:
    static constexpr dm::uint32 kServerId = 77;
    CallCounter counter; // outlives the managers, which may call it until they are gone

    ~PipeFixture() override { dm::deinitCommunicationManagers(); }

    /// A server on a free port.
    dm::CommunicationPipeManager* startServer(bool createPipes = true, const char* name = "server")
    {
        return dm::initCommunicationManagerAsServer(name, 0, kServerId, createPipes);
    }
    dm::CommunicationPipeManager* startClient(dm::uint32 port, const char* name = "client")
    {
        return dm::initCommunicationManagerAsClient(name, "127.0.0.1", static_cast<int>(port));
    }
    static dm::uint32 portOf(dm::CommunicationPipeManager* manager)
    {
        dm::uint32 port = 0;
        manager->getHost(&port);
        return port;
    }

    /// Both ends of one attached pipe, in this process.
    struct Ends
    {
        dm::CommunicationPipe* server;
        dm::CommunicationPipe* client;
    };
    Ends connectEnds(const char* pipe = "pipe");

    static void waitConnected(dm::CommunicationPipe* pipe, bool connected = true)
    {
        ASSERT_TRUE(waitUntil([&] { return pipe->isConnected() == connected; }));
    }
};

} // namespace support
