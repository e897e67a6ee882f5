#include <zul/Terminal.h>

#include <sys/ioctl.h>
#include <unistd.h>

namespace zu {

namespace {

int descriptorOf(StandardStream stream)
{
    switch (stream) {
    case StandardStream::Input:
        return STDIN_FILENO;
    case StandardStream::Output:
        return STDOUT_FILENO;
    case StandardStream::Error:
        break;
    }
    return STDERR_FILENO;
}

} // namespace

bool isTerminal(StandardStream stream) { return ::isatty(descriptorOf(stream)) == 1; }

u32 terminalWidth(StandardStream stream)
{
    constexpr u32 kUsualWidth = 80;
    struct winsize size = {};
    if (::ioctl(descriptorOf(stream), TIOCGWINSZ, &size) != 0 || size.ws_col == 0)
        return kUsualWidth;
    return size.ws_col;
}

} // namespace zu
