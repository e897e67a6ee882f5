#include "bench/contenders/DmEnds.h"

#include <zul/Yield.h>

#include <stdexcept>
#include <utility>

namespace bench {
namespace {

/// The longest answer that travels as the answer's text, as a program would send it; a longer one
/// is data.
constexpr size_t kMaxAnswerText = kSmallBytes;

constexpr auto kConnectLimit = std::chrono::seconds(15);

} // namespace

std::string pipeName(unsigned index) { return "bench" + std::to_string(index); }

ClientManager::ClientManager(uint16_t port, const Setup& setup)
{
    static std::atomic<unsigned> s_count{0};
    zu::setYieldMicroseconds(setup.yieldMicroseconds);
    dm::setResponseCapacityEnforced(true);
    name = "bench" + std::to_string(++s_count);
    manager = dm::initCommunicationManagerAsClient(name.c_str(), "127.0.0.1", port);
}

ClientManager::~ClientManager() { dm::deinitCommunicationManager(name.c_str()); }

void ClientManager::awaitPipe() const
{
    const auto deadline = std::chrono::steady_clock::now() + kConnectLimit;
    while (!pipe(0)->isConnected()) {
        if (std::chrono::steady_clock::now() > deadline)
            throw std::runtime_error("a client could not connect");
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

unsigned ClientManager::numberOfOtherEnd() const
{
    const std::string other = manager->getRemoteName();
    const size_t digits = other.find_last_not_of("0123456789") + 1;
    return static_cast<unsigned>(std::stoul(other.substr(digits)));
}

size_t DmClient::ask(std::span<char> answer)
{
    dm::uint32 size = 0;
    const auto text = pipe->sendRequest(request.c_str(), number, answer.data(),
                                        static_cast<dm::uint32>(answer.size()), &size, nullptr, 0);
    return size > 0 ? size : text.length();
}

PipeThread::PipeThread(std::function<bool()> takeOne)
    : take(std::move(takeOne))
    , thread([this] {
        while (!stopping) {
            arrived.wait();
            while (take()) {
            }
        }
    })
{
}

PipeThread::~PipeThread()
{
    stopping = true;
    arrived.set();
    thread.join();
}

dm::PipeCallback PipeThread::callback()
{
    return {this, [](void* self, dm::CommunicationPipe*) {
                static_cast<PipeThread*>(self)->arrived.set();
            }};
}

Answerer::Answerer(dm::CommunicationPipe* served, size_t answerBytes)
    : pipe(served)
    , text(answerBytes <= kMaxAnswerText ? answerBytes : 0, 'a')
    , data(answerBytes <= kMaxAnswerText ? 0 : answerBytes, 'a')
    , thread([this] { return answerOne(); })
{
    pipe->setRequestCallback(thread.callback());
}

bool Answerer::answerOne()
{
    if (pipe->receiveRequest(nullptr).empty())
        return false;
    void* requestData = nullptr;
    dm::uint32 requestBytes = 0;
    pipe->getRequestData(&requestData, &requestBytes);
    pipe->respond(text.c_str(), data.data(), static_cast<dm::uint32>(data.size()));
    return true;
}

} // namespace bench
