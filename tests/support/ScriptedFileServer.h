/// A file server of canned answers that notes what it was asked. It plays the far end of the
/// connection itself, so that the manager under test is the only one of the process.
#pragma once

#include "support/PipeFixture.h"

#include <deque>
#include <map>
#include <mutex>

namespace support {

/// Texts laid end to end, each with its zero.
std::string listOf(const std::vector<std::string>& texts);

/// Threads: any. End its clients' managers before it.
class ScriptedFileServer
{
public:
    ScriptedFileServer();
    ~ScriptedFileServer();

    std::uint32_t port() const { return listener.port(); }

    /// What a command is answered from now on; others get "".
    void answer(const std::string& command, const Answer& answer);
    /// The same for one time only; each such answer is given once, in order.
    void answerOnce(const std::string& command, const Answer& answer);
    /// A list without its count.
    void answerList(const std::string& command, std::vector<std::string> entries);
    /// The command gets no answer from now on.
    void withhold(const std::string& command);
    /// The connection is dropped the next time that the command comes.
    void dropAt(const std::string& command);

    /// All that has come since the last call.
    std::vector<std::string> takeCommands();
    /// How often the command has come.
    size_t countOf(const std::string& command);
    /// What has come with all writes.
    std::string writtenData();

private:
    struct Behaviour
    {
        Answer answer{};
        std::deque<Answer> once{};
        bool withholds = false;
        bool dropsOnce = false;
        size_t count = 0;
    };

    /// Calls `use` with the behaviour of a command, under the lock.
    template <typename Use>
    auto locked(const std::string& command, Use use)
    {
        const std::lock_guard guard(lock);
        return use(behaviours[command]);
    }
    void run();
    void serve(ScriptedPeer& peer);

    ScriptedServer listener;

    std::mutex lock;
    std::map<std::string, Behaviour> behaviours;
    std::vector<std::string> commands;
    std::string written;

    std::atomic<bool> stopping{false};
    std::thread thread;
};

} // namespace support
