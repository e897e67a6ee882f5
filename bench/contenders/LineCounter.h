/// Tells the printing process how many lines the receiving one has counted.
#pragma once

#include "bench/support/Platform.h"

#include <cstdint>

namespace bench {

/// The receiving process.
class LineCounter
{
public:
    /// To be made after announcePort: waits for the printing process to connect.
    explicit LineCounter(TcpListener& listener);

    /// Called with whatever was received.
    void count(uint64_t lines);

private:
    TcpStream stream;
    uint64_t total = 0;
};

/// The printing process.
class LineCount
{
public:
    explicit LineCount(uint16_t port);

    /// Waits until so many lines have been counted. Throws when there is none for seconds.
    void await(uint64_t lines);

private:
    TcpStream stream;
    uint64_t counted = 0;
};

} // namespace bench
