#include "support/ChildProcess.h"

#include "support/WaitUntil.h"

#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <spawn.h>
#include <stdexcept>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

ChildProcess::ChildProcess(std::vector<std::string> command, const Environment& additions)
{
    // A child that has ended must fail a write, not kill the test.
    std::signal(SIGPIPE, SIG_IGN);
    for (const auto& [name, value] : additions)
        command.insert(command.begin(), name + "=" + value);
    if (!additions.empty())
        command.insert(command.begin(), "env");
    std::vector<char*> arguments;
    for (std::string& word : command)
        arguments.push_back(word.data());
    arguments.push_back(nullptr);

    int in[2];
    if (::pipe2(in, O_CLOEXEC) != 0)
        throw std::runtime_error("child process: no pipe");
    input = in[1];
    output.file = ::memfd_create("output", MFD_CLOEXEC);
    error.file = ::memfd_create("error", MFD_CLOEXEC);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, in[0], STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, output.file, STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, error.file, STDERR_FILENO);

    // Signals at their defaults whatever the test runner ignores: the tests send them on purpose.
    sigset_t signals;
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK);
    sigemptyset(&signals);
    posix_spawnattr_setsigmask(&attributes, &signals);
    for (int signal : {SIGINT, SIGTERM, SIGPIPE, SIGQUIT})
        sigaddset(&signals, signal);
    posix_spawnattr_setsigdefault(&attributes, &signals);

    const int failure =
        ::posix_spawnp(&processId, arguments[0], &actions, &attributes, arguments.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    posix_spawnattr_destroy(&attributes);
    ::close(in[0]);
    if (failure != 0)
        throw std::runtime_error("child process: cannot start " + command[0]);
}

ChildProcess::~ChildProcess()
{
    kill();
    wait();
    closeInput();
    ::close(output.file);
    ::close(error.file);
}

std::vector<std::string> ChildProcess::role(const std::string& disabledCase)
{
    return {std::filesystem::read_symlink("/proc/self/exe"), "--gtest_also_run_disabled_tests",
            "--gtest_filter=" + disabledCase};
}

void ChildProcess::writeInput(std::string_view bytes)
{
    while (!bytes.empty()) {
        const ssize_t count = ::write(input, bytes.data(), bytes.size());
        if (count <= 0)
            return; // it does not read any more
        bytes.remove_prefix(static_cast<size_t>(count));
    }
}

void ChildProcess::closeInput()
{
    if (input >= 0)
        ::close(std::exchange(input, -1));
}

std::string ChildProcess::peek(const Stream& stream)
{
    std::string bytes;
    char block[65536];
    for (;;) {
        const off_t position = stream.taken + static_cast<off_t>(bytes.size());
        const ssize_t count = ::pread(stream.file, block, sizeof block, position);
        if (count <= 0)
            return bytes;
        bytes.append(block, static_cast<size_t>(count));
    }
}

std::optional<std::string> ChildProcess::takeLine(Stream& stream)
{
    std::string bytes;
    support::waitUntil([&] {
        const bool running = isRunning(); // first: what it writes last is seen then
        bytes = peek(stream);
        return !running || bytes.find('\n') != std::string::npos;
    });
    if (bytes.empty())
        return std::nullopt;
    const std::string line = bytes.substr(0, bytes.find('\n'));
    stream.taken += static_cast<off_t>(line.size()) + 1;
    return line;
}

std::string ChildProcess::readLineAfter(std::string_view beginning)
{
    std::string line;
    do
        line = readLine().value();
    while (!line.starts_with(beginning));
    return line.substr(beginning.size());
}

void ChildProcess::send(int signal)
{
    // Reaped children have no number any more: it may be somebody else's by now.
    if (isRunning())
        ::kill(processId, signal);
}

void ChildProcess::kill() { send(SIGKILL); }
void ChildProcess::interrupt() { send(SIGINT); }
void ChildProcess::askForStatus() { send(SIGUSR1); }
void ChildProcess::resume() { send(SIGCONT); }

void ChildProcess::pause()
{
    send(SIGSTOP);
    siginfo_t info{};
    ::waitid(P_PID, static_cast<id_t>(processId), &info, WSTOPPED | WEXITED | WNOWAIT);
}

bool ChildProcess::isRunning()
{
    int status = 0;
    if (!exitCode && ::waitpid(processId, &status, WNOHANG) == processId)
        exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    return !exitCode;
}

int ChildProcess::wait()
{
    if (!support::waitUntil([this] { return !isRunning(); })) {
        kill();
        ::waitpid(processId, nullptr, 0);
        exitCode = -1;
    }
    return *exitCode;
}
