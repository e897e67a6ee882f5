/// What an observation means, and what to do about it: values in, values out.
#pragma once

#include "tools/dm/ExitCode.h"
#include "tools/doctor/Observation.h"

#include <string>

namespace doctor {

/// What somebody hopes to find, and what is found.
enum class Service
{
    Any, ///< of ours; found: none of them
    Pipes,
    Files,
    Hub,
    Monitor,
};

enum class Cause
{
    Healthy,
    NothingListening,
    Unreachable,
    LoopbackOnly,
    OtherAddress, ///< listens on this machine, but not where it was looked for
    PortTaken,    ///< by what is none of ours
    WrongKind,
    OtherVersion,
    Full,
    Stalled,
    NoSuchPipe,
};

struct Diagnosis
{
    Cause cause = Cause::Healthy;
    Service found = Service::Any;
    std::string finding; ///< a line that names the cause; may hold bytes of the other program
    std::string advice;  ///< a line with what to do; "" when there is nothing to
    net::PortListener process{}; ///< who listens, if it is this machine's and told
};

Diagnosis diagnose(const Target& target, Service wanted, const Observation& seen);

tool::ExitCode exitCodeOf(Cause cause);

/// Words for programs: "nothing-listening", "monitor".
const char* nameOf(Cause cause);
const char* nameOf(Service service);

} // namespace doctor
