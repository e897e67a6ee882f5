#pragma once

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace tool {

/// Where a program listens.
struct Address
{
    std::string host;
    int port = 0;

    std::string toString() const;
};

/// Reads a number from 0 to 65535; nothing for anything else.
std::optional<int> findPort(std::string_view text);

/// The same, but throws ToolError that says what is wrong.
int parsePort(const std::string& text);

/// Reads HOST:PORT or [HOST]:PORT, the latter for hosts with colons.
///
///     127.0.0.1:3500 → 127.0.0.1, 3500
///     [::1]:3500     → ::1, 3500
///
/// Throws ToolError that says what is wrong with it.
Address parseAddress(const std::string& text);

/// No other end takes the name of a pipe that is longer.
inline constexpr std::size_t kMaxPipeNameBytes = 1024;

/// What a pipe's name must be that this is not: "must have ..."; "" when it is one.
std::string whyNoPipeName(std::string_view name);

/// Reads a number with a unit: 250ms, 5s, 1.5s, 2m. More than nothing and at most a day.
/// Throws ToolError that says what is wrong with it.
std::chrono::milliseconds parseDuration(const std::string& text);

/// The same duration for people: "5 s", "250 ms".
std::string toString(std::chrono::milliseconds duration);

enum class Format
{
    Text,
    Json
};

} // namespace tool
