#include "tools/dm/PipeService.h"

#include "tools/dm/Text.h"

#include <algorithm>
#include <utility>

namespace tool {

namespace {

// The pipe leaves the value alone when it has nothing, which tells "nothing" from an empty text.
constexpr dm::uint32 kUntouched = 0x6E6F6E65;

} // namespace

void PipeService::open(dm::CommunicationPipeManager& manager, const char* pipeName)
{
    // By way of the create callback: a program that already knocks must not get a word in before
    // the pipe's callbacks are in place.
    manager.setPipeCreateCallback({this, listenTo});
    pipe = manager.getPipe(pipeName);
    manager.setPipeCreateCallback({});
}

void PipeService::listenTo(void* context, dm::CommunicationPipeManager*,
                           dm::CommunicationPipe* created)
{
    created->setConnectionCallback({context, [](void* service, dm::CommunicationPipe*) {
                                        static_cast<PipeService*>(service)->forgetRequests();
                                    }});
    created->setNotifyCallback({context, [](void* service, dm::CommunicationPipe*) {
                                    static_cast<PipeService*>(service)->note(Event::Notification);
                                }});
    created->setRequestCallback({context, [](void* service, dm::CommunicationPipe*) {
                                     static_cast<PipeService*>(service)->note(Event::Request);
                                 }});
}

void PipeService::note(Event event)
{
    {
        const std::lock_guard lock(mutex);
        arrived.push_back(event);
    }
    changed.notify_one();
}

// A new connection drops the requests of the one before; they come again. Were their events kept,
// one would later take a request whose data has only begun to arrive.
void PipeService::forgetRequests()
{
    const std::lock_guard lock(mutex);
    std::erase(arrived, Event::Request);
}

void PipeService::serve(unsigned long limit)
{
    unsigned long handled = 0;
    while (limit == 0 || handled < limit) {
        std::unique_lock lock(mutex);
        changed.wait(lock, [this] { return isStopped || !arrived.empty(); });
        if (isStopped)
            return;
        lock.unlock();
        if (handleNext())
            ++handled;
    }
}

bool PipeService::handleNext()
{
    std::unique_lock lock(mutex);
    if (arrived.empty())
        return false;
    const Event event = arrived.front();
    arrived.pop_front();

    dm::uint32 value = kUntouched;
    const std::string text = toStdString(event == Event::Request ? pipe->receiveRequest(&value)
                                                                 : pipe->receiveNotify(&value));
    lock.unlock();
    if (text.empty() && value == kUntouched)
        return false;
    if (event == Event::Notification) {
        handlers.notified({text, value});
        return true;
    }
    void* data = nullptr;
    Request request{text, value, nullptr, 0};
    pipe->getRequestData(&data, &request.dataSize);
    request.data = data;
    const Reply reply = handlers.requested(request);
    pipe->respond(reply.text.c_str(), reply.data.empty() ? nullptr : reply.data.data(),
                  static_cast<dm::uint32>(reply.data.size()));
    return true;
}

void PipeService::stop()
{
    {
        const std::lock_guard lock(mutex);
        isStopped = true;
    }
    changed.notify_one();
}

} // namespace tool
