#pragma once

#include <dm/comm.h>

#include <condition_variable>
#include <deque>
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
/// The pipe's callbacks, which run on the manager's thread, only note what arrived; serve does the
/// work on the thread that calls it.
///
/// Threads: any for stop; serve on one.
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

    /// Handles events until stop or until `limit` of them are done; 0 for no limit. Blocks while
    /// an asker does not read its answer; deinitialising the manager ends that.
    void serve(unsigned long limit);

    void stop();

private:
    enum class Event
    {
        Notification,
        Request
    };

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
    bool isStopped = false;
};

} // namespace tool
