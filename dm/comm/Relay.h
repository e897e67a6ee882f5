/// A request that no thread waits for, from one pipe to another and the answer back.
///
///     asked->askAside(text, relay);              // queues and returns
///     ...  relay->onAnswer(...)                  // on the asked pipe's manager's thread:
///     asking->answerAside(text, data, relay);    // queues and returns
///     ...  relay->onAnswerSettled()              // on the asking pipe's manager's thread
///
/// Each of the two comes exactly once for each call, whatever happens to connections and managers,
/// and may come before the call has returned. Both may run under PipeTable's lock: they must not
/// wait, and take no locks but leaves.
#pragma once

#include <dm/comm.h>

#include <vector>

namespace dm {

class Relay
{
public:
    virtual ~Relay() = default;

    /// The answer has arrived whole; or there will be none, then "" without data.
    ///
    ///   data       at most the capacity that askAside was given.
    ///   dataSize   of the whole answer, in bytes.
    virtual void onAnswer(const zu::String& text, std::vector<uint8> data, uint32 dataSize) = 0;

    /// The answer was handed to the connection, or given up with it.
    virtual void onAnswerSettled() = 0;
};

} // namespace dm
