#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

/// A child process with its three streams in the test's hands.
///
///     ChildProcess child({toolPath, "listen", "0", "chat"});
///     std::string line = child.readErrorLine().value_or("");
///     child.interrupt();
///     EXPECT_EQ(child.wait(), 130);
///
/// Output is gathered by threads as it comes, so a child never blocks on a full pipe. What is
/// still running at destruction is killed. A wait that runs out of its long limit kills the child
/// and reports kTimedOut, so that a test fails instead of hanging.
///
/// Threads: one test thread at a time.
class ChildProcess
{
public:
    using Environment = std::vector<std::pair<std::string, std::string>>;
    static constexpr int kTimedOut = -1;
    static constexpr std::chrono::seconds kPatience{60};

    /// Starts command[0], searched in PATH, with the rest as arguments and `environment` added to
    /// this process's own. Throws std::system_error when it cannot be started.
    explicit ChildProcess(const std::vector<std::string>& command,
                          const Environment& environment = {});
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    /// The path of the running test program, to start it again in another role.
    static std::string ownProgram();

    /// Writes to the child's standard input; false when the child no longer reads.
    bool writeInput(std::string_view bytes);
    void closeInput();

    /// The next line without its end, or nothing at the end of the stream (or of patience).
    std::optional<std::string> readLine() { return takeLine(output_); }
    std::optional<std::string> readErrorLine() { return takeLine(error_); }

    /// What no readLine has taken, up to the end of the stream.
    std::string readRest() { return takeRest(output_); }
    std::string readErrorRest() { return takeRest(error_); }

    void kill();
    void interrupt();
    void terminate();
    void pause(); ///< returns when it stands still
    void resume();
    int id() const { return id_; }

    /// Waits for the end: the exit code, 128 + signal when it was killed, or kTimedOut.
    int wait(std::chrono::milliseconds limit = kPatience);

private:
    struct Stream
    {
        int descriptor = -1;
        std::thread reader;
        std::string bytes; // under mutex_
        bool ended = false;
    };

    void read(Stream& stream);
    std::optional<std::string> takeLine(Stream& stream);
    std::string takeRest(Stream& stream);
    void send(int signal);

    int id_ = 0;
    int input_ = -1;
    std::optional<int> exitCode_;
    std::mutex mutex_;
    std::condition_variable arrived_;
    Stream output_;
    Stream error_;
};
