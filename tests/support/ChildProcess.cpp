#include "support/ChildProcess.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <map>
#include <spawn.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

extern char** environ;

namespace {

std::array<int, 2> makePipe()
{
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0)
        throw std::system_error(errno, std::generic_category(), "pipe");
    return ends;
}

std::vector<std::string> mergedEnvironment(const ChildProcess::Environment& additions)
{
    std::map<std::string, std::string> variables;
    for (char** entry = environ; *entry != nullptr; ++entry) {
        const std::string text = *entry;
        variables[text.substr(0, text.find('='))] = text;
    }
    for (const auto& [name, value] : additions)
        variables[name] = name + "=" + value;
    std::vector<std::string> merged;
    for (auto& [name, text] : variables)
        merged.push_back(std::move(text));
    return merged;
}

std::vector<char*> pointersTo(std::vector<std::string>& texts)
{
    std::vector<char*> pointers;
    for (std::string& text : texts)
        pointers.push_back(text.data());
    pointers.push_back(nullptr);
    return pointers;
}

// Signals at their defaults whatever the test runner ignores: the tests send them on purpose.
void setDefaultSignals(posix_spawnattr_t& attributes)
{
    sigset_t defaults;
    sigemptyset(&defaults);
    for (int signal : {SIGINT, SIGTERM, SIGPIPE, SIGQUIT})
        sigaddset(&defaults, signal);
    sigset_t none;
    sigemptyset(&none);
    posix_spawnattr_setsigdefault(&attributes, &defaults);
    posix_spawnattr_setsigmask(&attributes, &none);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK);
}

} // namespace

ChildProcess::ChildProcess(const std::vector<std::string>& command, const Environment& environment)
{
    // A child that has ended must fail a write, not kill the test.
    std::signal(SIGPIPE, SIG_IGN);
    const auto in = makePipe();
    const auto out = makePipe();
    const auto err = makePipe();

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, in[0], STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, out[1], STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, err[1], STDERR_FILENO);
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    setDefaultSignals(attributes);

    std::vector<std::string> arguments = command;
    std::vector<std::string> variables = mergedEnvironment(environment);
    const int error = ::posix_spawnp(&id_, command.at(0).c_str(), &actions, &attributes,
                                     pointersTo(arguments).data(), pointersTo(variables).data());
    posix_spawn_file_actions_destroy(&actions);
    posix_spawnattr_destroy(&attributes);
    for (int end : {in[0], out[1], err[1]})
        ::close(end);
    input_ = in[1];
    output_.descriptor = out[0];
    error_.descriptor = err[0];
    if (error != 0) {
        for (int end : {in[1], out[0], err[0]})
            ::close(end);
        throw std::system_error(error, std::generic_category(), command.at(0));
    }
    output_.reader = std::thread([this] { read(output_); });
    error_.reader = std::thread([this] { read(error_); });
}

ChildProcess::~ChildProcess()
{
    closeInput();
    if (!exitCode_) {
        kill();
        wait();
    }
    for (Stream* stream : {&output_, &error_}) {
        stream->reader.join();
        ::close(stream->descriptor);
    }
}

std::string ChildProcess::ownProgram()
{
    std::array<char, 4096> path{};
    const ssize_t length = ::readlink("/proc/self/exe", path.data(), path.size());
    return length > 0 ? std::string(path.data(), static_cast<size_t>(length)) : std::string();
}

void ChildProcess::read(Stream& stream)
{
    std::array<char, 65536> block;
    for (;;) {
        const ssize_t count = ::read(stream.descriptor, block.data(), block.size());
        if (count < 0 && errno == EINTR)
            continue;
        const std::lock_guard lock(mutex_);
        if (count <= 0)
            stream.ended = true;
        else
            stream.bytes.append(block.data(), static_cast<size_t>(count));
        arrived_.notify_all();
        if (stream.ended)
            return;
    }
}

bool ChildProcess::writeInput(std::string_view bytes)
{
    while (!bytes.empty()) {
        const ssize_t count = ::write(input_, bytes.data(), bytes.size());
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0)
            return false;
        bytes.remove_prefix(static_cast<size_t>(count));
    }
    return true;
}

void ChildProcess::closeInput()
{
    if (input_ >= 0)
        ::close(input_);
    input_ = -1;
}

std::optional<std::string> ChildProcess::takeLine(Stream& stream)
{
    std::unique_lock lock(mutex_);
    arrived_.wait_for(lock, kPatience,
                      [&] { return stream.ended || stream.bytes.find('\n') != std::string::npos; });
    const size_t end = stream.bytes.find('\n');
    if (end == std::string::npos && (!stream.ended || stream.bytes.empty()))
        return std::nullopt;
    std::string line = stream.bytes.substr(0, end);
    stream.bytes.erase(0, end == std::string::npos ? end : end + 1);
    return line;
}

std::string ChildProcess::takeRest(Stream& stream)
{
    std::unique_lock lock(mutex_);
    arrived_.wait_for(lock, kPatience, [&] { return stream.ended; });
    return std::exchange(stream.bytes, {});
}

void ChildProcess::send(int signal)
{
    // Reaped children have no number any more: it may be somebody else's by now.
    if (!exitCode_)
        ::kill(id_, signal);
}

void ChildProcess::kill() { send(SIGKILL); }
void ChildProcess::interrupt() { send(SIGINT); }
void ChildProcess::terminate() { send(SIGTERM); }
void ChildProcess::resume() { send(SIGCONT); }

void ChildProcess::pause()
{
    send(SIGSTOP);
    siginfo_t info{};
    if (!exitCode_)
        ::waitid(P_PID, static_cast<id_t>(id_), &info, WSTOPPED | WEXITED | WNOWAIT);
}

int ChildProcess::wait(std::chrono::milliseconds limit)
{
    using namespace std::chrono_literals;
    const auto deadline = std::chrono::steady_clock::now() + limit;
    bool timedOut = false;
    while (!exitCode_) {
        int status = 0;
        if (::waitpid(id_, &status, timedOut ? 0 : WNOHANG) == id_) {
            exitCode_ = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
            break;
        }
        if (std::chrono::steady_clock::now() > deadline) {
            timedOut = true;
            send(SIGKILL);
            continue;
        }
        std::this_thread::sleep_for(2ms);
    }
    return timedOut ? kTimedOut : *exitCode_;
}
