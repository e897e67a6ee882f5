/// A file server of canned answers that notes what it was asked. It plays the far end of the
/// connection itself, so that the manager under test is the only one of the process.
#pragma once

#include "support/PipeFixture.h"

#include <deque>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

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
    /// The same for the next time only.
    void answerOnce(const std::string& command, const Answer& answer);
    /// A list without its count.
    void answerList(const std::string& command, std::vector<std::string> entries);
    /// The command gets no answer from now on.
    void withhold(const std::string& command);
    /// The connection is dropped the next time that the command comes.
    void dropAt(const std::string& command);

    /// One command, the data with it, and its answer.
    struct Exchange
    {
        std::string command;
        std::string data;
        Answer answer;
    };
    /// From now on exactly these are expected, one after the other.
    void follow(std::vector<Exchange> exchanges);
    /// What came instead of what was expected first; else what has not come; "" when all has.
    std::string whereItDiffers();

    /// All that has come since the last call.
    std::vector<std::string> takeCommands();
    /// How often the command has come.
    size_t countOf(const std::string& command);
    /// What came with the last write.
    std::string writtenData();

private:
    void run();
    void serve(ScriptedPeer& peer);
    Answer nextInScript(const WireMessage& asked);

    ScriptedServer listener;

    std::mutex lock;
    std::map<std::string, Answer> answers;
    std::map<std::string, Answer> onceAnswers;
    std::set<std::string> withheld;
    std::set<std::string> dropping;
    std::vector<std::string> commands;
    std::map<std::string, size_t> counts;
    std::string written;
    std::deque<Exchange> script;
    bool follows = false;
    std::string difference;

    std::atomic<bool> stopping{false};
    std::thread thread;
};

} // namespace support
