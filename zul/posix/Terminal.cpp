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

// All 0 when it is none.
struct winsize sizeOf(StandardStream stream)
{
    struct winsize size = {};
    if (::ioctl(descriptorOf(stream), TIOCGWINSZ, &size) != 0)
        return {};
    return size;
}

} // namespace

bool isTerminal(StandardStream stream) { return ::isatty(descriptorOf(stream)) == 1; }

u32 terminalWidth(StandardStream stream)
{
    constexpr u32 kUsualWidth = 80;
    const u32 columns = sizeOf(stream).ws_col;
    return columns != 0 ? columns : kUsualWidth;
}

u32 terminalHeight(StandardStream stream)
{
    constexpr u32 kUsualHeight = 24;
    const u32 rows = sizeOf(stream).ws_row;
    return rows != 0 ? rows : kUsualHeight;
}

} // namespace zu
