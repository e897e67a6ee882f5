#include "tools/dm/Arguments.h"

#include "tools/dm/ExitCode.h"

#include <charconv>

namespace tool {

namespace {

constexpr int kMaxPort = 65535;

[[noreturn]] void rejectAddress(const std::string& text, const std::string& why)
{
    throw ToolError(ExitCode::Usage,
                    "'" + text + "' is no address: " + why + ", as in 127.0.0.1:3500");
}

[[noreturn]] void rejectDuration(const std::string& text, const std::string& why)
{
    throw ToolError(ExitCode::Usage,
                    "'" + text + "' is no duration: " + why + ", as in 250ms, 5s or 2m");
}

double millisecondsPer(const std::string& unit)
{
    if (unit == "ms")
        return 1;
    if (unit == "s")
        return 1000;
    if (unit == "m")
        return 60 * 1000;
    return 0;
}

} // namespace

std::string Address::toString() const
{
    const bool hasColons = host.find(':') != std::string::npos;
    return (hasColons ? "[" + host + "]" : host) + ":" + std::to_string(port);
}

std::optional<int> findPort(std::string_view text)
{
    int port = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, port);
    if (error != std::errc() || stop != end || port < 0 || port > kMaxPort)
        return std::nullopt;
    return port;
}

int parsePort(const std::string& text)
{
    if (const auto port = findPort(text))
        return *port;
    throw ToolError(ExitCode::Usage, "'" + text + "' is no port: give a number from 0 to 65535");
}

Address parseAddress(const std::string& text)
{
    const size_t colon = text.rfind(':');
    if (colon == std::string::npos)
        rejectAddress(text, "give host and port");
    Address address;
    address.host = text.substr(0, colon);
    if (address.host.size() >= 2 && address.host.front() == '[' && address.host.back() == ']')
        address.host = address.host.substr(1, address.host.size() - 2);
    else if (address.host.find(':') != std::string::npos)
        rejectAddress(text, "write a host with colons in brackets");
    if (address.host.empty())
        rejectAddress(text, "the host is missing");

    address.port = findPort(std::string_view(text).substr(colon + 1)).value_or(0);
    if (address.port == 0)
        rejectAddress(text, "the port must be a number from 1 to 65535");
    return address;
}

std::string whyNoPipeName(std::string_view name)
{
    return name.empty() || name.size() > kMaxPipeNameBytes
               ? "must have 1 to " + std::to_string(kMaxPipeNameBytes) + " bytes"
               : "";
}

std::chrono::milliseconds parseDuration(const std::string& text)
{
    constexpr double kDay = 24.0 * 60 * 60 * 1000;
    double number = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number, std::chars_format::fixed);
    if (error != std::errc())
        rejectDuration(text, "give a number and its unit");
    const double unit = millisecondsPer(std::string(stop, end));
    if (unit == 0)
        rejectDuration(text, "the unit must be ms, s or m");
    if (!(number * unit >= 1 && number * unit <= kDay))
        rejectDuration(text, "it must be from 1ms to a day");
    return std::chrono::milliseconds(static_cast<long long>(number * unit));
}

std::string toString(std::chrono::milliseconds duration)
{
    const long long count = duration.count();
    return count % 1000 == 0 ? std::to_string(count / 1000) + " s" : std::to_string(count) + " ms";
}

} // namespace tool
