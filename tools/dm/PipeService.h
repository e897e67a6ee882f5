#pragma once

#include <dm/comm.h>

#include <condition_variable>
#include <deque>
#include <exception>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

namespace tool {

struct Notification
{
    std::string text;
    dm::uint32 value = 0;
};

struct Request
{
    std::string text;
    dm::uint32 value = 0;
    const void* data = nullptr; ///< lent until the request is answered
    dm::uint32 dataSize = 0;
};

struct Reply
{
    std::string text;
    std::vector<char> data;
};

/// Serves one pipe: takes what arrives in the order it completed, and answers one request before
/// it takes the next.
///
/// The pipe's callbacks, which run on the manager's thread, only note what arrived. The manager
/// must live until run has returned.
///
/// Threads: the main thread's, which waits for interrupts.
class PipeService
{
public:
    struct Handlers
    {
        std::function<void(const Notification&)> notified;
        std::function<Reply(const Request&)> requested;
    };

    explicit PipeService(Handlers eventHandlers)
        : handlers(std::move(eventHandlers))
    {
    }

    /// Makes the manager's pipe of that name and listens to it from its first message on.
    void open(dm::CommunicationPipeManager& manager, const char* pipeName);

    /// Handles `limit` events, or 0 for any number, until the program is interrupted. False when
    /// it was. Rethrows what a handler or `look` throws.
    ///
    ///   look   called on the calling thread now and then, and soon after each new connection.
    ///
    /// The work is done on a thread of its own, because an answer that its asker does not read
    /// holds that thread for as long as it likes. An interrupt then ends the process.
    bool run(unsigned long limit, const std::function<void()>& look = {});

private:
    enum class Event
    {
        Notification,
        Request
    };

    void serve(unsigned long limit);
    void awaitEnd();
    void note(Event event);
    void forgetRequests();
    bool handleNext();
    static void listenTo(void* context, dm::CommunicationPipeManager*, dm::CommunicationPipe* pipe);

    const Handlers handlers;
    dm::CommunicationPipe* pipe = nullptr; // never changes after open

    // Held while an event is taken off `arrived` and out of the pipe, so that the two always agree.
    std::mutex mutex;
    std::condition_variable changed;
    std::deque<Event> arrived;
    bool hasEnded = false;
    std::exception_ptr failure;
};

} // namespace tool
