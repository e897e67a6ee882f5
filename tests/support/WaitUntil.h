/// Waiting in tests: for a condition, with a limit no healthy run comes near.
#pragma once

#include <chrono>
#include <thread>

namespace support {

/// Long enough for a sanitizer build on a busy machine; only a failing test waits it out.
inline constexpr std::chrono::seconds kLongLimit{40};

/// Looks at the condition every millisecond. False when the limit passed first.
template <typename Condition>
bool waitUntil(Condition condition, std::chrono::milliseconds limit = kLongLimit)
{
    const auto deadline = std::chrono::steady_clock::now() + limit;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

} // namespace support
