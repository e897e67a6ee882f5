/// The game's end of its pipes: one that listens, a member of a hub, or the file server's client.
///
/// Where it listens, which is this machine only unless ZUL_LISTEN_ADDRESS says otherwise, and in a
/// hub, a request on the pipe "console" is a line for the console, and the answer's data what that
/// prints (UTF-8). A file server does not get to run any. Notifications of all pipes are printed as
/// they come.
///
///     dm call 127.0.0.1:3500 console "set speed 3" --out -
///
/// Threads: the main thread's; find and list from any. An inner thread takes requests and answers
/// them, because an answer may wait for its reader.
#pragma once

#include "tools/sandbox/Output.h"

#include <dm/comm.h>

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace sandbox {

class Pipes
{
public:
    static constexpr const char* kManagerName = "sandbox";
    static constexpr const char* kConsolePipe = "console";

    /// Runs a line on the main thread and returns what it printed.
    using RunLine = std::function<std::string(const std::string& line)>;

    Pipes(Output& words, RunLine runner);
    ~Pipes();
    Pipes(const Pipes&) = delete;
    Pipes& operator=(const Pipes&) = delete;

    /// Port 0 picks one. False when it cannot be had.
    bool listen(int port);
    /// As a member of a hub.
    void join(const std::string& host, int port);
    /// As the client of somebody else, who can ask nothing.
    void connect(const std::string& host, int port);
    /// The first half of ending: an answer that is ready goes out, for a second at most, and
    /// everybody who waits for one is woken. The second half is for when they have gone.
    void close();
    void end();

    bool isOpen() const { return manager != nullptr; }
    unsigned getPort() const;

    std::vector<dm::CommunicationPipe*> list() const;
    /// Made if absent; the pipes must be open.
    dm::CommunicationPipe* open(const char* name) { return manager->getPipe(name); }
    /// Null when there is none.
    dm::CommunicationPipe* find(const std::string& name) const;

    /// Runs the lines that were asked for. Once per frame.
    void poll();

private:
    struct Question
    {
        std::string line;
        std::string answer;
        bool isAnswered = false;
    };

    void start(dm::CommunicationPipeManager* opened);
    void addPipe(dm::CommunicationPipe* pipe);
    void printNotification(dm::CommunicationPipe& pipe) const;
    void noteRequest(dm::CommunicationPipe* pipe);
    void serve();
    void answer(dm::CommunicationPipe& pipe);
    bool ask(Question& question);

    Output& output;
    const RunLine runLine;
    dm::CommunicationPipeManager* manager = nullptr; // the registry's
    bool runsLines = false;                          // never changes once the server runs

    mutable std::mutex mutex; // guards what follows
    std::condition_variable changed;
    std::vector<dm::CommunicationPipe*> pipes;
    std::deque<dm::CommunicationPipe*> asked;
    std::deque<Question*> questions; // of the serving thread, which waits for them
    bool isResponding = false;       // the line was run, the answer is not on its way yet
    bool isOver = false;

    std::thread server; // last: it uses the above
};

} // namespace sandbox
