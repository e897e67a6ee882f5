#include "zul/posix/FileSupport.h"

#include <zul/Process.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <map>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <system_error>
#include <thread>
#include <time.h>
#include <unistd.h>

extern char** environ;

namespace zu {

using posix::Descriptor;

namespace {

bool openPipe(Descriptor& readEnd, Descriptor& writeEnd)
{
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0)
        return false;
    readEnd = Descriptor(ends[0]);
    writeEnd = Descriptor(ends[1]);
    return true;
}

void setNonBlocking(int descriptor)
{
    ::fcntl(descriptor, F_SETFL, ::fcntl(descriptor, F_GETFL) | O_NONBLOCK);
}

// A command that does not read its input must not kill this process. The signal comes to the
// writing thread alone, so holding it back here and taking it out again disturbs nobody else.
class BrokenPipeGuard
{
public:
    BrokenPipeGuard()
    {
        sigemptyset(&brokenPipe);
        sigaddset(&brokenPipe, SIGPIPE);
        ::pthread_sigmask(SIG_BLOCK, &brokenPipe, &previous);
    }
    ~BrokenPipeGuard()
    {
        const timespec now = {};
        while (::sigtimedwait(&brokenPipe, nullptr, &now) > 0) {
        }
        ::pthread_sigmask(SIG_SETMASK, &previous, nullptr);
    }
    BrokenPipeGuard(const BrokenPipeGuard&) = delete;
    BrokenPipeGuard& operator=(const BrokenPipeGuard&) = delete;

private:
    sigset_t brokenPipe;
    sigset_t previous;
};

// What the system is to make of the new process beside the command: its streams, its signals, and a
// group of its own, so that everything the line started can be killed with it.
class SpawnSettings
{
public:
    SpawnSettings(int inputEnd, int outputEnd)
    {
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, inputEnd, STDIN_FILENO);
        posix_spawn_file_actions_adddup2(&actions, outputEnd, STDOUT_FILENO);

        posix_spawnattr_init(&attributes);
        sigset_t defaults;
        sigemptyset(&defaults);
        const sigset_t none = defaults;
        for (int signal : {SIGINT, SIGTERM, SIGPIPE})
            sigaddset(&defaults, signal);
        posix_spawnattr_setsigdefault(&attributes, &defaults);
        posix_spawnattr_setsigmask(&attributes, &none);
        posix_spawnattr_setpgroup(&attributes, 0);
        posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGDEF |
                                                  POSIX_SPAWN_SETSIGMASK);
    }
    ~SpawnSettings()
    {
        posix_spawnattr_destroy(&attributes);
        posix_spawn_file_actions_destroy(&actions);
    }
    SpawnSettings(const SpawnSettings&) = delete;
    SpawnSettings& operator=(const SpawnSettings&) = delete;

    posix_spawn_file_actions_t actions;
    posix_spawnattr_t attributes;
};

std::vector<std::string> environmentOf(const ProcessCommand& command)
{
    std::map<std::string, std::string> entries;
    for (char** entry = environ; entry != nullptr && *entry != nullptr; ++entry) {
        const std::string text = *entry;
        entries[text.substr(0, text.find('='))] = text;
    }
    for (const auto& [name, value] : command.variables)
        entries[name] = name + "=" + value.c_str();
    std::vector<std::string> environment;
    for (auto& [name, text] : entries)
        environment.push_back(std::move(text));
    return environment;
}

// One run of a command, by the thread that calls run.
class Run
{
public:
    Run(const ProcessCommand& what, const WaitHandle& stopHandle)
        : command(what)
        , stop(stopHandle)
    {
    }

    ProcessResult run();

private:
    bool start();
    int spawn(int inputEnd, int outputEnd);
    void announceExit();
    void exchange();
    void writeInput();
    void readOutput();
    void end(ProcessResult::End why);
    void finish(std::thread& waiter);
    void reap();

    const ProcessCommand& command;
    const WaitHandle& stop;
    ProcessResult result;
    pid_t process = -1;
    Descriptor input;
    Descriptor output;
    // Ready when the command has exited; the waiting thread holds the other end.
    Descriptor exited;
    Descriptor exitAnnouncer;
    bool killed = false;
    u64 written = 0;
};

ProcessResult Run::run()
{
    if (!start())
        return std::move(result);
    std::thread waiter;
    try {
        waiter = std::thread([this] { announceExit(); });
        exchange();
    } catch (const std::system_error& error) {
        end(ProcessResult::NotStarted);
        result.exitCode = error.code().value();
    } catch (...) {
        end(ProcessResult::TooVerbose);
        finish(waiter);
        throw;
    }
    finish(waiter);
    return std::move(result);
}

// Looks, but leaves the process's number taken: killing it stays safe until it is reaped.
void Run::announceExit()
{
    siginfo_t info;
    while (::waitid(P_PID, static_cast<id_t>(process), &info, WEXITED | WNOWAIT) != 0 &&
           errno == EINTR) {
    }
    exitAnnouncer.close();
}

void Run::finish(std::thread& waiter)
{
    if (waiter.joinable())
        waiter.join();
    reap();
}

bool Run::start()
{
    Descriptor childInput;
    Descriptor childOutput;
    int error = 0;
    if (!openPipe(childInput, input) || !openPipe(output, childOutput) ||
        !openPipe(exited, exitAnnouncer))
        error = errno;
    else
        error = spawn(childInput.get(), childOutput.get());
    if (error != 0) {
        result.exitCode = error;
        return false;
    }
    setNonBlocking(input.get());
    setNonBlocking(output.get());
    if (command.inputBytes == 0)
        input.close();
    return true;
}

int Run::spawn(int inputEnd, int outputEnd)
{
    const SpawnSettings settings(inputEnd, outputEnd);

    std::string shell = "sh";
    std::string option = "-c";
    std::string line = command.line;
    char* arguments[] = {shell.data(), option.data(), line.data(), nullptr};
    std::vector<std::string> environment = environmentOf(command);
    std::vector<char*> variables;
    for (std::string& entry : environment)
        variables.push_back(entry.data());
    variables.push_back(nullptr);

    return ::posix_spawn(&process, "/bin/sh", &settings.actions, &settings.attributes, arguments,
                         variables.data());
}

void Run::exchange()
{
    bool stopSeen = false;
    while (output.isOpen() || exited.isOpen()) {
        // Negative descriptors are passed over by poll.
        const int stopNumber = stopSeen ? -1 : static_cast<int>(stop.native);
        std::array<pollfd, 4> waits = {{{stopNumber, POLLIN, 0},
                                        {output.get(), POLLIN, 0},
                                        {input.get(), POLLOUT, 0},
                                        {exited.get(), POLLIN, 0}}};
        if (::poll(waits.data(), waits.size(), -1) < 0) {
            if (errno == EINTR)
                continue;
            throw std::system_error(errno, std::generic_category());
        }
        if (waits[0].revents != 0) {
            stopSeen = true;
            end(ProcessResult::Stopped);
        }
        if (waits[1].revents != 0 && output.isOpen())
            readOutput();
        if (waits[2].revents != 0 && input.isOpen())
            writeInput();
        if (waits[3].revents != 0)
            exited.close();
    }
}

void Run::writeInput()
{
    constexpr u64 kPieceBytes = 1024 * 1024;
    const BrokenPipeGuard guard;
    const char* const rest = static_cast<const char*>(command.input) + written;
    const u64 size = std::min(kPieceBytes, command.inputBytes - written);
    const ssize_t count = ::write(input.get(), rest, static_cast<size_t>(size));
    if (count >= 0)
        written += static_cast<u64>(count);
    else if (errno == EAGAIN || errno == EINTR)
        return;
    if (count < 0 || written == command.inputBytes)
        input.close();
}

void Run::readOutput()
{
    std::array<char, 64 * 1024> block;
    const ssize_t count = ::read(output.get(), block.data(), block.size());
    if (count < 0 && (errno == EAGAIN || errno == EINTR))
        return;
    if (count <= 0) {
        output.close();
        return;
    }
    if (result.output.size() + static_cast<size_t>(count) > command.maxOutputBytes)
        end(ProcessResult::TooVerbose);
    else
        result.output.insert(result.output.end(), block.data(), block.data() + count);
}

// Kills the whole group, and stops listening to what may have left it.
void Run::end(ProcessResult::End why)
{
    if (!killed)
        result.end = why;
    killed = true;
    ::kill(-process, SIGKILL);
    output.close();
    input.close();
}

void Run::reap()
{
    int status = 0;
    while (::waitpid(process, &status, 0) < 0 && errno == EINTR) {
    }
    if (killed)
        return;
    result.end = WIFEXITED(status) ? ProcessResult::Exited : ProcessResult::Killed;
    result.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : WTERMSIG(status);
}

} // namespace

ProcessResult runProcess(const ProcessCommand& command, const WaitHandle& stop)
{
    return Run(command, stop).run();
}

} // namespace zu
