#include "bench/support/Processes.h"

#include "bench/support/Checked.h"

#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <poll.h>
#include <sched.h>
#include <sstream>
#include <stdexcept>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <system_error>
#include <thread>
#include <time.h>
#include <unistd.h>
#include <utility>

namespace bench {
namespace {

using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

bool s_pinned = false;

constexpr milliseconds kStartLimit{10'000};
constexpr milliseconds kStopLimit{2000};

struct Pipe
{
    Pipe()
    {
        int ends[2];
        checked(pipe2(ends, O_CLOEXEC), "pipe");
        reading = ends[0];
        writing = ends[1];
    }

    int reading;
    int writing;
};

std::vector<char*> pointers(std::vector<std::string>& arguments)
{
    std::vector<char*> result;
    for (std::string& argument : arguments)
        result.push_back(argument.data());
    result.push_back(nullptr);
    return result;
}

/// Its standard descriptors; -1 keeps ours.
struct Descriptors
{
    int input = -1;
    int output = -1;
    int error = -1;
};

/// The child's side of spawn, after fork: nothing here may allocate or lock.
[[noreturn]] void become(char* const* arguments, const Descriptors& given, pid_t starter,
                         int failed)
{
    if (given.input >= 0)
        dup2(given.input, STDIN_FILENO);
    if (given.output >= 0)
        dup2(given.output, STDOUT_FILENO);
    if (given.error >= 0)
        dup2(given.error, STDERR_FILENO);
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() == starter)
        execvp(arguments[0], arguments);
    const int reason = errno;
    _exit(write(failed, &reason, sizeof reason) == sizeof reason ? 127 : 126);
}

pid_t spawn(std::vector<std::string> command, const Descriptors& given)
{
    const std::vector<char*> arguments = pointers(command);
    const Pipe failed; // closed by exec, so that reading from it tells how that went
    const pid_t starter = getpid();
    const pid_t pid = checked(fork(), "fork");
    if (pid == 0)
        become(arguments.data(), given, starter, failed.writing);
    ::close(failed.writing);
    int reason = 0;
    const ssize_t count = read(failed.reading, &reason, sizeof reason);
    ::close(failed.reading);
    if (count == sizeof reason) {
        waitpid(pid, nullptr, 0);
        throw std::system_error(reason, std::generic_category(), command[0]);
    }
    return pid;
}

void stayOnCore(long core)
{
    cpu_set_t cores;
    CPU_ZERO(&cores);
    CPU_SET(static_cast<size_t>(core), &cores);
    checked(sched_setaffinity(0, sizeof cores, &cores), "sched_setaffinity");
}

} // namespace

std::string ownPath()
{
    char path[PATH_MAX];
    const ssize_t length = readlink("/proc/self/exe", path, sizeof path);
    checked(static_cast<int>(length), "readlink /proc/self/exe");
    return {path, static_cast<size_t>(length)};
}

int ownProcessId() { return getpid(); }

bool isProcessRunning(int processId) { return kill(processId, 0) == 0 || errno == EPERM; }

ChildProcess::ChildProcess(std::vector<std::string> command, Errors errors)
{
    const Pipe input;
    const Pipe output;
    // A process inherits the core of the thread that starts it.
    if (s_pinned)
        stayOnCore(sysconf(_SC_NPROCESSORS_ONLN) - 1);
    pid = spawn(std::move(command), {input.reading, output.writing,
                                     errors == Errors::WithOutput ? output.writing : -1});
    if (s_pinned)
        stayOnCore(0);
    ::close(input.reading);
    ::close(output.writing);
    toChild = input.writing;
    fromChild = output.reading;
}

ChildProcess::~ChildProcess()
{
    ::close(toChild);
    if (isRunning())
        kill(pid, SIGTERM);
    if (!waitFor(kStopLimit)) {
        kill(pid, SIGKILL);
        waitpid(pid, nullptr, 0);
    }
    ::close(fromChild);
}

bool ChildProcess::waitFor(milliseconds limit)
{
    const auto deadline = Clock::now() + limit;
    while (isRunning()) {
        if (Clock::now() >= deadline)
            return false;
        std::this_thread::sleep_for(milliseconds(1));
    }
    return true;
}

bool ChildProcess::isRunning()
{
    int ended = 0;
    if (!status && waitpid(pid, &ended, WNOHANG) == pid)
        status = ended;
    return !status;
}

bool ChildProcess::succeeds()
{
    int ended = 0;
    if (!status && waitpid(pid, &ended, 0) == pid)
        status = ended;
    return status && WIFEXITED(*status) && WEXITSTATUS(*status) == 0;
}

std::optional<std::string> ChildProcess::readLine(milliseconds limit)
{
    const auto deadline = Clock::now() + limit;
    for (;;) {
        if (const size_t end = unread.find('\n'); end != std::string::npos) {
            std::string line = unread.substr(0, end);
            unread.erase(0, end + 1);
            return line;
        }
        const auto left = std::chrono::ceil<milliseconds>(deadline - Clock::now());
        pollfd entry{fromChild, POLLIN, 0};
        char block[4096];
        if (left.count() <= 0 || poll(&entry, 1, static_cast<int>(left.count())) != 1)
            return {};
        const ssize_t count = read(fromChild, block, sizeof block);
        if (count <= 0)
            return {};
        unread.append(block, static_cast<size_t>(count));
    }
}

void ChildProcess::writeLine()
{
    if (!isRunning() || write(toChild, "\n", 1) != 1)
        throw std::runtime_error("a child process does not listen");
}

double ChildProcess::cpuSeconds() const
{
    clockid_t clock{};
    timespec time{};
    if (clock_getcpuclockid(pid, &clock) != 0 || clock_gettime(clock, &time) != 0)
        throw std::runtime_error("the server process is gone");
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

ChildProcess::Memory ChildProcess::memory() const
{
    Memory memory;
    std::ifstream file("/proc/" + std::to_string(pid) + "/status");
    for (std::string line; std::getline(file, line);) {
        std::istringstream words(line);
        std::string name;
        double kilobytes = 0;
        words >> name >> kilobytes;
        if (name == "VmHWM:")
            memory.peak = kilobytes / 1024;
        else if (name == "VmRSS:")
            memory.resident = kilobytes / 1024;
        else if (name == "RssAnon:")
            memory.anonymous = kilobytes / 1024;
    }
    if (memory.peak == 0)
        throw std::runtime_error("the server process is gone");
    return memory;
}

ServerProcess::ServerProcess(const std::vector<std::string>& arguments)
    : process([&arguments] {
        std::vector<std::string> command{ownPath()};
        command.insert(command.end(), arguments.begin(), arguments.end());
        return command;
    }())
{
    const auto line = process.readLine(kStartLimit);
    tcpPort = line ? static_cast<uint16_t>(std::atoi(line->c_str())) : 0;
    if (tcpPort == 0)
        throw std::runtime_error("the server process did not start");
}

void announcePort(unsigned port)
{
    std::printf("%u\n", port);
    std::fflush(stdout);
}

void exitWithStarter()
{
    std::thread([] {
        char byte;
        while (read(STDIN_FILENO, &byte, 1) > 0) {
        }
        std::_Exit(0);
    }).detach();
}

void pinProcesses()
{
    s_pinned = true;
    stayOnCore(0);
}

namespace {

std::vector<SystemCall> readSummary(const std::string& path)
{
    std::vector<SystemCall> calls;
    std::ifstream file(path);
    // "% time  seconds  usecs/call  calls  [errors]  syscall" between two rulers.
    bool inTable = false;
    for (std::string line; std::getline(file, line);) {
        if (line.starts_with("------")) {
            if (std::exchange(inTable, !inTable))
                break;
            continue;
        }
        std::istringstream words(line);
        std::string share, seconds, each, last;
        SystemCall call;
        if (!inTable || !(words >> share >> seconds >> each >> call.calls))
            continue;
        while (words >> last)
            call.name = last;
        calls.push_back(call);
    }
    return calls;
}

} // namespace

std::vector<SystemCall> countSystemCalls(const std::vector<std::string>& arguments)
{
    char path[] = "/tmp/dm_bench.XXXXXX";
    ::close(checked(mkstemp(path), "mkstemp"));
    std::vector<std::string> command{"strace", "-f", "-c", "-o", path, ownPath()};
    command.insert(command.end(), arguments.begin(), arguments.end());
    int status = -1;
    try {
        // The traced program's output would stand in the middle of the table.
        const int null = checked(open("/dev/null", O_WRONLY | O_CLOEXEC), "/dev/null");
        const pid_t pid = spawn(command, {.output = null});
        ::close(null);
        waitpid(pid, &status, 0);
    } catch (const std::system_error&) {
    }
    std::vector<SystemCall> calls = readSummary(path);
    unlink(path);
    if (status != 0 || calls.empty())
        throw std::runtime_error("strace is missing or may not trace here");
    return calls;
}

} // namespace bench
