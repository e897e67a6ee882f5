#include "tools/dm/PipeService.h"

#include "tools/dm/ExitCode.h"
#include "tools/dm/Text.h"

#include <zul/Interrupt.h>

#include <chrono>
#include <cstdlib>
#include <thread>
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
                                        zu::Interrupt::get().notify();
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

bool PipeService::run(unsigned long limit, const std::function<void()>& look)
{
    constexpr zu::u32 kLookMs = 100;
    zu::Interrupt& interrupt = zu::Interrupt::get();
    std::thread worker([&] { serve(limit); });
    const auto isServing = [this] {
        const std::lock_guard lock(mutex);
        return !hasEnded;
    };
    std::exception_ptr lookFailure;
    try {
        while (isServing() && !interrupt.waitFor(kLookMs))
            if (look)
                look();
    } catch (...) {
        lookFailure = std::current_exception();
        interrupt.raise();
    }
    const bool isInterrupted = isServing();
    if (isInterrupted)
        awaitEnd();
    worker.join();
    if (lookFailure != nullptr)
        std::rethrow_exception(lookFailure);
    if (failure != nullptr)
        std::rethrow_exception(failure);
    return !isInterrupted;
}

void PipeService::awaitEnd()
{
    constexpr std::chrono::seconds kLongestGoodbye{1};
    std::unique_lock lock(mutex);
    changed.notify_all();
    // Still answering somebody who does not read. Destroying the manager would end that, but only
    // for a thread that is surely inside respond by now, which cannot be known from here.
    if (!changed.wait_for(lock, kLongestGoodbye, [this] { return hasEnded; }))
        std::quick_exit(static_cast<int>(ExitCode::Interrupted));
}

void PipeService::serve(unsigned long limit)
{
    const zu::Interrupt& interrupt = zu::Interrupt::get();
    std::exception_ptr thrown;
    try {
        for (unsigned long handled = 0; limit == 0 || handled < limit;) {
            std::unique_lock lock(mutex);
            changed.wait(lock, [&] { return interrupt.isRaised() || !arrived.empty(); });
            if (interrupt.isRaised())
                break;
            lock.unlock();
            if (handleNext())
                ++handled;
        }
    } catch (...) {
        thrown = std::current_exception();
    }
    {
        const std::lock_guard lock(mutex);
        failure = thrown;
        hasEnded = true;
    }
    changed.notify_all();
    zu::Interrupt::get().notify();
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
    // The interrupt also cut the handler short. Its half answer must not pass for one, so this asks
    // the interrupt itself: the main thread may not have woken yet.
    if (zu::Interrupt::get().isRaised())
        return false;
    pipe->respond(reply.text.c_str(), reply.data.empty() ? nullptr : reply.data.data(),
                  static_cast<dm::uint32>(reply.data.size()));
    return true;
}

} // namespace tool
