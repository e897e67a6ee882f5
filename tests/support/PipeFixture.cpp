#include "support/PipeFixture.h"

#include <stdexcept>

namespace support {

std::string someBytes(size_t count, std::uint32_t seed)
{
    std::string bytes(count, '\0');
    std::uint32_t state = seed;
    for (char& byte : bytes) {
        state = state * 1664525u + 1013904223u;
        byte = static_cast<char>(state >> 24);
    }
    return bytes;
}

Answer ask(dm::CommunicationPipe* pipe, const std::string& text, const std::string& data,
           dm::uint32 value, dm::uint32 capacity)
{
    std::vector<char> buffer(capacity);
    Answer answer;
    answer.text =
        toString(pipe->sendRequest(text.c_str(), value, buffer.data(), capacity, &answer.size,
                                   data.data(), static_cast<dm::uint32>(data.size())));
    answer.data.assign(buffer.data(), std::min(answer.size, capacity));
    return answer;
}

template <typename Receive>
static std::string takeText(Receive receive)
{
    std::string text;
    if (!waitUntil([&] { return !(text = toString(receive())).empty(); }))
        throw std::runtime_error("nothing arrived in time");
    return text;
}

std::string takeRequest(dm::CommunicationPipe* pipe, dm::uint32* value)
{
    return takeText([&] { return pipe->receiveRequest(value); });
}

std::string takeNotify(dm::CommunicationPipe* pipe, dm::uint32* value)
{
    return takeText([&] { return pipe->receiveNotify(value); });
}

std::string requestData(dm::CommunicationPipe* pipe)
{
    dm::uint32 size = 1;
    void* data = &size; // which it replaces even when there is none
    pipe->getRequestData(&data, &size);
    return {static_cast<const char*>(data), data ? size : 0};
}

Responder::Responder(dm::CommunicationPipe* answeredPipe, Answering how)
    : pipe(answeredPipe)
    , answering(std::move(how))
    , thread([this] { run(); })
{
    pipe->setRequestCallback({this, [](void* self, dm::CommunicationPipe*) {
                                  static_cast<Responder*>(self)->announce();
                              }});
}

void Responder::announce()
{
    ++announced;
    announced.notify_one();
}

Responder::~Responder()
{
    pipe->setRequestCallback({});
    stopping = true;
    announce();
    thread.join();
}

void Responder::run()
{
    for (int taken = 0;; ++taken) {
        announced.wait(taken);
        if (stopping)
            return;
        const std::string text = toString(pipe->receiveRequest(nullptr));
        if (text.empty())
            continue; // it came over a connection that is gone, and will come again
        const Answer answer = answering(text, requestData(pipe));
        pipe->respond(answer.text.c_str(), answer.data.data(),
                      static_cast<dm::uint32>(answer.data.size()));
    }
}

PipeFixture::Ends PipeFixture::connectEnds(const char* pipe)
{
    dm::CommunicationPipeManager* server = startServer();
    dm::CommunicationPipeManager* client = startClient(portOf(server));
    const Ends ends{server->getPipe(pipe), client->getPipe(pipe)};
    waitConnected(ends.server);
    waitConnected(ends.client);
    return ends;
}

} // namespace support
