#pragma once

#include "tools/dm/Arguments.h"

#include <zul/PortListeners.h>

#include <cstdint>
#include <string>
#include <vector>

namespace doctor {

/// Where to look, and for which pipe; "" for none.
struct Target
{
    tool::Address address;
    std::string pipe;
};

/// What was seen there: facts only, see Diagnosis for what they mean.
struct Observation
{
    enum class Reach
    {
        Connected,
        Refused,
        NoAnswer, ///< within the time there was
        Failed,   ///< for `reason`
    };
    enum class Speech
    {
        Silent,
        Pipes, ///< greeted as a server of pipes
        Monitor,
        Foreign, ///< something else, for `reason`
        HungUp,  ///< at once, without a word
    };
    enum class PipeAnswer
    {
        NotAsked,
        Opened,
        Refused,
        None,
    };

    Reach reach = Reach::Failed;
    Speech speech = Speech::Silent;
    std::string reason;
    std::string reached; ///< the address in numbers, when connected

    // Of a server of pipes.
    std::uint32_t version = 0;
    std::string serverName; ///< whatever it calls itself
    bool isRedirecting = false;
    bool isSentBack = false; ///< redirected to where it came from
    tool::Address redirect;
    std::string redirectReason; ///< why nobody answers there; "" for no answer at all
    PipeAnswer pipeAnswer = PipeAnswer::NotAsked;

    // Of this machine, when the target is on it.
    bool isOwnMachine = false;
    bool answersOnLoopback = false; ///< though not where it was looked for
    std::vector<net::PortListener> listeners;

    /// Whether clients are sent to an address that is good on the server's machine only, and this
    /// is another one.
    bool isRedirectedOutOfReach() const { return !isOwnMachine && isLoopback(redirect.host); }

    static bool isLoopback(const std::string& address)
    {
        return address.compare(0, 4, "127.") == 0 || address == "::1" || address == "localhost";
    }
};

} // namespace doctor
