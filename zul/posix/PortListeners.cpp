#include "zul/common/Tcp.h"
#include "zul/posix/FileSupport.h"

#include <zul/PortListeners.h>

#include <algorithm>
#include <charconv>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <netinet/in.h>
#include <optional>
#include <sstream>
#include <string_view>
#include <strings.h>
#include <sys/socket.h>
#include <unistd.h>

// All of it is read from /proc. Where there is none, or it shows less, less is found.

namespace net {

namespace {

namespace fs = std::filesystem;
using zu::u32;

struct OpenListener
{
    std::string address;
    std::string link; // what /proc shows for a descriptor of it
};

template <typename Number>
bool parseNumber(std::string_view text, Number& out, int base = 10)
{
    const auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), out, base);
    return error == std::errc() && stop == text.data() + text.size() && !text.empty();
}

// As people read it.
template <typename SocketAddress>
std::string describe(const SocketAddress& parts)
{
    tcp::Address address;
    static_assert(sizeof parts <= sizeof address.bytes);
    address.size = sizeof parts;
    std::memcpy(address.bytes, &parts, sizeof parts);
    return tcp::describe(address).ip;
}

// From hexadecimal digits: one word, or four, each as it lies in memory.
std::string readAddress(std::string_view digits)
{
    constexpr size_t kWordDigits = 8;
    u32 words[4] = {};
    const size_t count = digits.size() / kWordDigits;
    if (digits.size() % kWordDigits != 0 || (count != 1 && count != 4))
        return "";
    for (size_t index = 0; index < count; ++index) {
        if (!parseNumber(digits.substr(index * kWordDigits, kWordDigits), words[index], 16))
            return "";
    }
    if (count == 1) {
        sockaddr_in parts{};
        parts.sin_family = AF_INET;
        parts.sin_addr.s_addr = words[0];
        return describe(parts);
    }
    sockaddr_in6 parts{};
    parts.sin6_family = AF_INET6;
    std::memcpy(&parts.sin6_addr, words, sizeof parts.sin6_addr);
    return describe(parts);
}

// One line of the table: number, own and other address and port, state, five columns more, and
// the socket's number.
std::optional<OpenListener> readLine(const std::string& line, u32 port)
{
    constexpr const char* kListening = "0A";
    std::istringstream columns(line);
    std::string own;
    std::string state;
    std::string other;
    std::string socketNumber;
    columns >> other >> own >> other >> state;
    for (int skipped = 0; skipped < 5; ++skipped)
        columns >> other;
    columns >> socketNumber;
    const size_t colon = own.find(':');
    u32 ownPort = 0;
    if (!columns || state != kListening || colon == std::string::npos ||
        !parseNumber(std::string_view(own).substr(colon + 1), ownPort, 16) || ownPort != port)
        return {};
    return OpenListener{readAddress(std::string_view(own).substr(0, colon)),
                        "socket:[" + socketNumber + "]"};
}

std::vector<OpenListener> openListeners(u32 port)
{
    std::vector<OpenListener> found;
    for (const char* table : {"/proc/self/net/tcp", "/proc/self/net/tcp6"}) {
        std::ifstream file(table);
        for (std::string line; std::getline(file, line);) {
            if (auto listener = readLine(line, port))
                found.push_back(std::move(*listener));
        }
    }
    return found;
}

// The name stands between brackets and may hold more of them; the state follows the last one.
void describeProcess(const fs::path& folder, PortListener& out)
{
    std::ifstream file(folder / "stat");
    std::string line;
    std::getline(file, line);
    const size_t open = line.find('(');
    const size_t close = line.rfind(')');
    if (open == std::string::npos || close == std::string::npos || close + 2 >= line.size())
        return;
    out.processName = line.substr(open + 1, close - open - 1);
    out.isHalted = line[close + 2] == 'T' || line[close + 2] == 't';
}

// Gives the listeners that the process holds its name, unless they have one. Descriptors come and
// go meanwhile, and most of other users' are kept from us: what cannot be read is passed over.
void nameHolder(const fs::path& process, u32 id, const std::vector<OpenListener>& wanted,
                std::vector<PortListener>& found)
{
    std::error_code closed;
    fs::directory_iterator descriptor(process / "fd", closed);
    for (; !closed && descriptor != end(descriptor); descriptor.increment(closed)) {
        std::error_code gone;
        const std::string link = fs::read_symlink(descriptor->path(), gone).native();
        for (size_t index = 0; index < wanted.size(); ++index) {
            if (wanted[index].link != link || found[index].processId != 0)
                continue;
            found[index].processId = id;
            describeProcess(process, found[index]);
        }
    }
}

void nameHolders(const std::vector<OpenListener>& wanted, std::vector<PortListener>& found)
{
    std::error_code error;
    fs::directory_iterator process("/proc", error);
    for (; !error && process != end(process); process.increment(error)) {
        u32 id = 0;
        if (parseNumber(process->path().filename().native(), id))
            nameHolder(process->path(), id, wanted, found);
    }
}

} // namespace

std::vector<PortListener> findPortListeners(u32 port)
{
    const std::vector<OpenListener> wanted = openListeners(port);
    std::vector<PortListener> found;
    for (const OpenListener& listener : wanted)
        found.push_back({listener.address});
    if (!wanted.empty())
        nameHolders(wanted, found);
    return found;
}

bool isOwnHost(const char* host)
{
    char name[256] = "";
    if (gethostname(name, sizeof name - 1) == 0 && strcasecmp(host, name) == 0)
        return true;
    // What the system lets a socket have is its own.
    const std::vector<tcp::Address> addresses = tcp::numericAddresses(host, 0);
    return std::any_of(addresses.begin(), addresses.end(), [](const tcp::Address& address) {
        const auto* const plain = reinterpret_cast<const sockaddr*>(address.bytes);
        const zu::posix::Descriptor probe(
            ::socket(plain->sa_family, SOCK_STREAM | SOCK_CLOEXEC, 0));
        return probe.isOpen() && ::bind(probe.get(), plain, address.size) == 0;
    });
}

} // namespace net
