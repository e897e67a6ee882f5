#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace tool {

/// Where a program listens.
struct Address
{
    std::string host;
    int port = 0;

    std::string toString() const;
};

/// Reads HOST:PORT or [HOST]:PORT, the latter for hosts with colons.
///
///     127.0.0.1:3500 → 127.0.0.1, 3500
///     [::1]:3500     → ::1, 3500
///
/// Throws ToolError that says what is wrong with it.
Address parseAddress(const std::string& text);

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
