/// Child processes: further copies of this program, and other programs beside it.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace bench {

/// Where this program lies.
std::string ownPath();

int ownProcessId();
bool isProcessRunning(int processId);

/// A program that runs for as long as this does. It is asked to end by the destructor, and killed
/// when it does not or when this process is gone.
///
/// Threads: to be started by the main thread, with whose end the child would be killed.
class ChildProcess
{
public:
    enum class Errors
    {
        Shared,     ///< standard error goes where ours does
        WithOutput, ///< it is read with the output
    };

    /// Throws std::system_error when there is no such program.
    ///
    ///   command   program, looked up as a shell would, and arguments.
    explicit ChildProcess(std::vector<std::string> command, Errors errors = Errors::Shared);
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    /// The next line that it prints. None when it ends or takes longer than that before.
    std::optional<std::string> readLine(std::chrono::milliseconds limit);

    /// Gives it a line to read.
    void writeLine();

    bool isRunning();

    /// Waits without limit for its end by itself; whether it ended well.
    bool succeeds();

    /// Processor time of all its threads so far.
    double cpuSeconds() const;

    struct Memory // in MiB
    {
        double peak = 0;      ///< everything resident, at its highest so far
        double resident = 0;  ///< the same now
        double anonymous = 0; ///< resident now and no file's
    };
    Memory memory() const;

private:
    bool waitFor(std::chrono::milliseconds limit);

    int pid = -1;
    int toChild = -1;
    int fromChild = -1;
    std::string unread;
    std::optional<int> status; ///< once it has ended
};

/// A second copy of this program that serves what the first one measures.
class ServerProcess
{
public:
    /// Runs this program with `arguments` and waits until it has told its port.
    explicit ServerProcess(const std::vector<std::string>& arguments);

    uint16_t port() const { return tcpPort; }
    double cpuSeconds() const { return process.cpuSeconds(); }
    ChildProcess::Memory memory() const { return process.memory(); }

private:
    ChildProcess process;
    uint16_t tcpPort = 0;
};

/// For the served side: tells the starting process the port.
void announcePort(unsigned port);
/// For the served side: ends this process as soon as the starting one lets go of it.
void exitWithStarter();

/// Keeps this process to the first core and those that it starts from now on to the last. To be
/// called on the thread that starts them, before there are others.
void pinProcesses();

/// The number of calls of each system call that `arguments`, a command line of this program, makes
/// with all its threads and children. Throws with a readable reason where tracing is not possible.
struct SystemCall
{
    std::string name;
    double calls = 0;
};
std::vector<SystemCall> countSystemCalls(const std::vector<std::string>& arguments);

} // namespace bench
