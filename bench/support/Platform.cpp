#include "bench/support/Platform.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <linux/futex.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sched.h>
#include <spawn.h>
#include <sstream>
#include <stdexcept>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <system_error>
#include <thread>
#include <time.h>
#include <unistd.h>
#include <utility>

extern char** environ;

namespace bench {
namespace {

bool s_pinned = false;

constexpr int kServerStartTimeoutMs = 10'000;
constexpr auto kServerStopTimeout = std::chrono::seconds(2);

int checked(int result, const char* what)
{
    if (result < 0)
        throw std::system_error(errno, std::generic_category(), what);
    return result;
}

std::string ownPath()
{
    char path[PATH_MAX];
    const ssize_t length = readlink("/proc/self/exe", path, sizeof path);
    checked(static_cast<int>(length), "readlink /proc/self/exe");
    return {path, static_cast<size_t>(length)};
}

std::vector<char*> pointers(std::vector<std::string>& arguments)
{
    std::vector<char*> result;
    for (std::string& argument : arguments)
        result.push_back(argument.data());
    result.push_back(nullptr);
    return result;
}

/// Starts `arguments` with the two descriptors as its standard input and output; -1 keeps ours.
int spawn(std::vector<std::string> arguments, int input, int output)
{
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    if (input >= 0)
        posix_spawn_file_actions_adddup2(&actions, input, STDIN_FILENO);
    if (output >= 0)
        posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
    pid_t pid = -1;
    const int error = posix_spawnp(&pid, arguments[0].c_str(), &actions, nullptr,
                                   pointers(arguments).data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (error != 0)
        throw std::system_error(error, std::generic_category(), arguments[0]);
    return pid;
}

void stayOnCore(long core)
{
    cpu_set_t cores;
    CPU_ZERO(&cores);
    CPU_SET(static_cast<size_t>(core), &cores);
    checked(sched_setaffinity(0, sizeof cores, &cores), "sched_setaffinity");
}

bool waitForExit(int pid, std::chrono::steady_clock::duration limit)
{
    const auto deadline = std::chrono::steady_clock::now() + limit;
    while (waitpid(pid, nullptr, WNOHANG) == 0) {
        if (std::chrono::steady_clock::now() >= deadline)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

sockaddr_in loopback(uint16_t port)
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

void setNoDelay(int fd)
{
    const int on = 1;
    checked(setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on), "TCP_NODELAY");
}

void waitWritable(int fd)
{
    pollfd entry{fd, POLLOUT, 0};
    poll(&entry, 1, -1);
}

} // namespace

ServerProcess::ServerProcess(const std::vector<std::string>& arguments)
{
    int input[2];
    int output[2];
    checked(pipe2(input, O_CLOEXEC), "pipe");
    checked(pipe2(output, O_CLOEXEC), "pipe");
    std::vector<std::string> command{ownPath()};
    command.insert(command.end(), arguments.begin(), arguments.end());
    // A process inherits the core of the thread that starts it.
    if (s_pinned)
        stayOnCore(sysconf(_SC_NPROCESSORS_ONLN) - 1);
    pid = spawn(command, input[0], output[1]);
    if (s_pinned)
        stayOnCore(0);
    ::close(input[0]);
    ::close(output[1]);
    toChild = input[1];
    fromChild = output[0];
    readPort();
}

void ServerProcess::readPort()
{
    pollfd entry{fromChild, POLLIN, 0};
    char text[32] = {};
    if (poll(&entry, 1, kServerStartTimeoutMs) == 1 && read(fromChild, text, sizeof text - 1) > 0)
        tcpPort = static_cast<uint16_t>(std::atoi(text));
    if (tcpPort == 0)
        throw std::runtime_error("the server process did not start");
}

ServerProcess::~ServerProcess()
{
    ::close(toChild);
    ::close(fromChild);
    if (!waitForExit(pid, kServerStopTimeout)) {
        kill(pid, SIGKILL);
        waitpid(pid, nullptr, 0);
    }
}

double ServerProcess::cpuSeconds() const
{
    clockid_t clock{};
    timespec time{};
    if (clock_getcpuclockid(pid, &clock) != 0 || clock_gettime(clock, &time) != 0)
        throw std::runtime_error("the server process is gone");
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

double ServerProcess::statusMegabytes(const char* field) const
{
    std::ifstream status("/proc/" + std::to_string(pid) + "/status");
    double kibibytes = 0;
    for (std::string word; status >> word;) {
        if (word == field && status >> kibibytes)
            return kibibytes / 1024;
    }
    throw std::runtime_error("the server process is gone");
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

TcpStream::TcpStream(TcpStream&& other) noexcept
    : fd(std::exchange(other.fd, -1))
{
}

TcpStream& TcpStream::operator=(TcpStream&& other) noexcept
{
    std::swap(fd, other.fd);
    return *this;
}

TcpStream::~TcpStream()
{
    if (fd >= 0)
        ::close(fd);
}

TcpStream TcpStream::connect(uint16_t port)
{
    TcpStream stream(checked(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0), "socket"));
    const sockaddr_in address = loopback(port);
    checked(::connect(stream.fd, reinterpret_cast<const sockaddr*>(&address), sizeof address),
            "connect");
    setNoDelay(stream.fd);
    return stream;
}

void TcpStream::setBlocking(bool blocking)
{
    const int flags = checked(fcntl(fd, F_GETFL), "F_GETFL");
    checked(fcntl(fd, F_SETFL, blocking ? flags & ~O_NONBLOCK : flags | O_NONBLOCK), "F_SETFL");
}

bool TcpStream::sendAll(const void* data, size_t size)
{
    auto* bytes = static_cast<const char*>(data);
    while (size > 0) {
        const ssize_t sent = send(fd, bytes, size, MSG_NOSIGNAL);
        if (sent > 0) {
            bytes += sent;
            size -= static_cast<size_t>(sent);
        } else if (errno == EAGAIN) {
            waitWritable(fd);
        } else if (errno != EINTR) {
            return false;
        }
    }
    return true;
}

bool TcpStream::receiveAll(void* data, size_t size)
{
    auto* bytes = static_cast<char*>(data);
    while (size > 0) {
        // MSG_WAITALL would be shorter and, for large sizes, much slower.
        const ssize_t received = recv(fd, bytes, size, 0);
        if (received <= 0)
            return false;
        bytes += received;
        size -= static_cast<size_t>(received);
    }
    return true;
}

long TcpStream::receiveSome(void* data, size_t size)
{
    const ssize_t received = recv(fd, data, size, 0);
    if (received > 0)
        return received;
    return received < 0 && (errno == EAGAIN || errno == EINTR) ? 0 : -1;
}

TcpListener::TcpListener()
{
    fd = checked(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0), "socket");
    sockaddr_in address = loopback(0);
    socklen_t length = sizeof address;
    checked(bind(fd, reinterpret_cast<sockaddr*>(&address), length), "bind");
    checked(listen(fd, SOMAXCONN), "listen");
    checked(getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length), "getsockname");
    tcpPort = ntohs(address.sin_port);
}

TcpListener::~TcpListener() { ::close(fd); }

TcpStream TcpListener::accept()
{
    TcpStream stream(checked(accept4(fd, nullptr, nullptr, SOCK_CLOEXEC), "accept"));
    setNoDelay(stream.descriptor());
    return stream;
}

SocketWait::SocketWait(const TcpStream& stream)
    : epoll(checked(epoll_create1(EPOLL_CLOEXEC), "epoll_create1"))
    , wakeEvent(checked(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK), "eventfd"))
{
    for (const int fd : {stream.descriptor(), wakeEvent}) {
        epoll_event event{};
        event.events = EPOLLIN | EPOLLRDHUP | EPOLLET;
        event.data.fd = fd;
        checked(epoll_ctl(epoll, EPOLL_CTL_ADD, fd, &event), "epoll_ctl");
    }
}

SocketWait::~SocketWait()
{
    ::close(epoll);
    ::close(wakeEvent);
}

bool SocketWait::wait()
{
    epoll_event events[2];
    const int count = epoll_wait(epoll, events, 2, -1);
    return std::any_of(events, events + std::max(count, 0),
                       [this](const epoll_event& event) { return event.data.fd != wakeEvent; });
}

void SocketWait::wake() { eventfd_write(wakeEvent, 1); }

void blockOnWord(std::atomic<uint32_t>& word, uint32_t expected)
{
    syscall(SYS_futex, &word, FUTEX_WAIT_PRIVATE, expected, nullptr, nullptr, 0);
}

void wakeWordWaiter(std::atomic<uint32_t>& word)
{
    syscall(SYS_futex, &word, FUTEX_WAKE_PRIVATE, 1, nullptr, nullptr, 0);
}

void pinProcesses()
{
    s_pinned = true;
    stayOnCore(0);
}

void raiseDescriptorLimit(unsigned descriptors)
{
    rlimit limit{};
    checked(getrlimit(RLIMIT_NOFILE, &limit), "getrlimit");
    if (limit.rlim_cur >= descriptors)
        return;
    limit.rlim_cur = descriptors;
    checked(setrlimit(RLIMIT_NOFILE, &limit), "too few descriptors (ulimit -Hn)");
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
        const int pid = spawn(command, -1, null);
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
