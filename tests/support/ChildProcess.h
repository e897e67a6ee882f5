#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <sys/types.h>
#include <utility>
#include <vector>

/// A child process with its three streams in the test's hands.
/// Output goes to files in memory, so a child never blocks on a full pipe. What still runs at
/// destruction is killed, and so is what outlasts the long limit of a wait.
///
/// Threads: one test thread at a time.
class ChildProcess
{
public:
    using Environment = std::vector<std::pair<std::string, std::string>>;

    /// Starts command[0], searched in PATH, with `additions` to this process's environment.
    explicit ChildProcess(std::vector<std::string> command, const Environment& additions = {});
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    /// Starts the running test program again, for a disabled case: the part of another process.
    static std::vector<std::string> role(const std::string& disabledCase);

    void writeInput(std::string_view bytes);
    void closeInput();

    /// The next line without its end; nothing when the child has ended (or patience has).
    std::optional<std::string> readLine() { return takeLine(output); }
    std::optional<std::string> readErrorLine() { return takeLine(error); }
    /// Skips lines up to the one that begins so: what stands behind. Throws when there is none.
    std::string readLineAfter(std::string_view beginning);

    /// What has come so far and no readLine has taken.
    std::string peekOutput() const { return peek(output); }

    /// Waits for the end: what no readLine has taken.
    std::string readRest() { return wait(), peek(output); }
    std::string readErrorRest() { return wait(), peek(error); }

    void kill();
    void interrupt();
    void askForStatus(); ///< as people do, see zu::Interrupt
    void pause();        ///< returns when it stands still
    void resume();
    int id() const { return processId; }

    /// Waits for the end: the exit code, 128 + signal when it was killed, -1 when it never came.
    int wait();

private:
    struct Stream
    {
        int file = -1;
        off_t taken = 0;
    };

    bool isRunning();
    void send(int signal);
    static std::string peek(const Stream& stream);
    std::optional<std::string> takeLine(Stream& stream);

    pid_t processId = 0;
    int input = -1;
    std::optional<int> exitCode;
    Stream output;
    Stream error;
};
