#include "tools/doctor/Diagnosis.h"

#include "tools/fileserver/FileServer.h"

#include <dm/comm.h>

#include <algorithm>
#include <utility>

namespace doctor {

using Reach = Observation::Reach;
using Speech = Observation::Speech;
using PipeAnswer = Observation::PipeAnswer;

namespace {

constexpr const char* kLoopback = "127.0.0.1";

Service serviceOf(const Observation& seen)
{
    if (seen.speech == Speech::Monitor)
        return Service::Monitor;
    if (seen.speech != Speech::Pipes)
        return Service::Any;
    if (seen.serverName == fileserver::FileServer::kManagerName)
        return Service::Files;
    return seen.isRedirecting ? Service::Hub : Service::Pipes;
}

// Members of a hub talk in pipes too.
bool isWanted(Service wanted, Service found)
{
    return wanted == Service::Any || wanted == found ||
           (wanted == Service::Pipes && found == Service::Hub);
}

const char* describe(Service service)
{
    switch (service) {
    case Service::Pipes:
        return "a server of pipes";
    case Service::Files:
        return "a file server";
    case Service::Hub:
        return "a hub";
    case Service::Monitor:
        return "a debug monitor";
    case Service::Any:
        break;
    }
    return "none of ours";
}

const char* usersOf(Service service)
{
    switch (service) {
    case Service::Pipes:
        return "dm call and dm notify, and programs that are clients of pipes";
    case Service::Files:
        return "dm fs, and games that read remote files";
    case Service::Hub:
        return "dm call --hub and dm listen --hub, and programs that are its members";
    case Service::Monitor:
        return "dm watch";
    case Service::Any:
        break;
    }
    return "nobody";
}

const char* howToStart(Service service)
{
    switch (service) {
    case Service::Pipes:
        return "start the program that serves the pipe (dm listen serves one for a try)";
    case Service::Files:
        return "start one: dm serve --map data=FOLDER";
    case Service::Hub:
        return "start one: dm hub PORT";
    case Service::Monitor:
        return "start the game; it must have called dm::init with this port, and said nothing on "
               "standard error about it";
    case Service::Any:
        break;
    }
    return "start the program, and look on its standard error whether it could listen";
}

bool isForAllNetworks(const std::string& address)
{
    return address == "0.0.0.0" || address == "::";
}

bool isNumeric(const std::string& host)
{
    return host.find(':') != std::string::npos ||
           host.find_first_not_of("0123456789.") == std::string::npos;
}

/// The words and the judgement about one target.
class Examination
{
public:
    Examination(const Target& lookedFor, Service wantedService, const Observation& observation);

    Diagnosis diagnose() const;

private:
    Diagnosis judgeReach() const;
    Diagnosis judgeRefusal() const;
    Diagnosis judgeSpeech() const;
    Diagnosis judgeService() const;
    Diagnosis judgePipe() const;
    Diagnosis stalled(const std::string& what) const;
    Diagnosis healthy() const;

    Diagnosis make(Cause cause, std::string finding, std::string advice) const
    {
        return {cause, found, std::move(finding), std::move(advice), process};
    }
    std::string who() const;
    std::string inBrackets() const { return who().empty() ? "" : " (" + who() + ")"; }

    const Target& target;
    const Observation& seen;
    const Service wanted;
    const Service found;
    const std::string address;
    net::PortListener process;
};

Examination::Examination(const Target& lookedFor, Service wantedService,
                         const Observation& observation)
    : target(lookedFor)
    , seen(observation)
    , wanted(wantedService)
    , found(serviceOf(observation))
    , address(lookedFor.address.toString())
{
    // Who listens right there comes before who does for all networks. Whoever listens elsewhere is
    // not who has answered.
    const auto distance = [&](const net::PortListener& one) {
        const bool isThere = one.address == target.address.host || one.address == seen.reached;
        return isThere ? 0 : isForAllNetworks(one.address) ? 1 : 2;
    };
    const auto nearest = std::ranges::min_element(seen.listeners, {}, distance);
    if (nearest != seen.listeners.end() && (seen.reached.empty() || distance(*nearest) < 2))
        process = *nearest;
}

/// "game (process 12)", or "" when the system does not tell.
std::string Examination::who() const
{
    if (process.processId == 0)
        return "";
    return process.processName + ", process " + std::to_string(process.processId);
}

Diagnosis Examination::diagnose() const
{
    if (seen.reach != Reach::Connected)
        return judgeReach();
    return found == Service::Any ? judgeSpeech() : judgeService();
}

Diagnosis Examination::judgeReach() const
{
    if (seen.reach == Reach::Refused)
        return judgeRefusal();
    if (seen.reach == Reach::Failed)
        return make(Cause::Unreachable, address + " cannot be reached: " + seen.reason,
                    "check the host's name or address, and the network between");
    // This machine answers at once, unless a program does not take what waits for it.
    if (seen.isOwnMachine)
        return stalled("takes no more connections");
    return make(Cause::Unreachable, address + " does not answer at all",
                "check that the machine is on, that the address is its, and that no firewall "
                "between drops what comes for port " +
                    std::to_string(target.address.port));
}

Diagnosis Examination::judgeRefusal() const
{
    const std::string port = std::to_string(target.address.port);
    const bool isElsewhere = seen.answersOnLoopback || !seen.listeners.empty();
    if (!isElsewhere) {
        const std::string elsewhere =
            seen.isOwnMachine ? ""
                              : "; if it runs there already, it may listen for its own machine "
                                "only: there, try dm doctor 127.0.0.1:" +
                                    port;
        return make(Cause::NothingListening, "nothing listens on " + address,
                    howToStart(wanted) + elsewhere);
    }
    const std::string where = process.address.empty() ? kLoopback : process.address;
    const std::string place = tool::Address{where, target.address.port}.toString();
    const std::string& host = target.address.host;
    const std::string allNetworks = host.find(':') == std::string::npos ? "0.0.0.0" : "::";
    const bool isFromHere = host == kLoopback || host == "::1" || host == "localhost";
    if (isFromHere || !Observation::isLoopback(where))
        return make(Cause::OtherAddress,
                    "nothing listens on " + address + ", but on " + place + inBrackets(),
                    "use " + (isForAllNetworks(where) ? std::string(kLoopback) : where) +
                        "; or start the program with ZUL_LISTEN_ADDRESS=" + allNetworks +
                        ", for all networks");
    const bool canListenThere = isNumeric(host) && !Observation::isLoopback(host);
    return make(
        Cause::LoopbackOnly,
        place + inBrackets() + " listens on loopback only, so nothing answers on " + address,
        "start it with ZUL_LISTEN_ADDRESS=" + (canListenThere ? host : allNetworks) +
            ", in networks where everybody may connect; or use " + where + " on its machine");
}

Diagnosis Examination::stalled(const std::string& what) const
{
    if (process.isHalted)
        return make(Cause::Stalled, address + " is stalled: " + who() + ", is halted",
                    "let it go on: by fg in its terminal, by kill -CONT " +
                        std::to_string(process.processId) + ", or in the debugger that holds it");
    return make(Cause::Stalled, address + inBrackets() + " is stalled: it " + what,
                std::string(found == Service::Any
                                ? "a game with a debug monitor must call dm::update() "
                                  "once a frame; else see"
                                : "see") +
                    " in a debugger where it hangs, or start it anew");
}

Diagnosis Examination::judgeSpeech() const
{
    if (seen.speech == Speech::Silent)
        return stalled("takes the connection and says nothing");
    const bool hungUp = seen.speech == Speech::HungUp;
    const std::string owner = who().empty() ? "another program" : who();
    return make(Cause::PortTaken,
                address + " is taken by " + owner + ", which " +
                    (hungUp ? "hangs up at once: none of ours, or one that is full"
                            : "is none of ours: " + seen.reason),
                std::string("end that program, or give yours another port") +
                    (hungUp ? "; if it is yours, it has no room for a further connection" : ""));
}

Diagnosis Examination::judgeService() const
{
    if (seen.speech == Speech::Pipes && seen.version != dm::kPipeProtocolVersion)
        return make(Cause::OtherVersion,
                    address + inBrackets() + " speaks version " + std::to_string(seen.version) +
                        " of the pipe protocol, this tool version " +
                        std::to_string(dm::kPipeProtocolVersion),
                    "use the dm that came with that program, or build both anew");
    if (!isWanted(wanted, found) || (!target.pipe.empty() && found == Service::Monitor))
        return make(Cause::WrongKind,
                    address + inBrackets() + " is " + describe(found) + ", not " +
                        describe(wanted == Service::Any ? Service::Pipes : wanted),
                    std::string("it is for ") + usersOf(found) +
                        "; what you look for has another port: see what it was told");
    if (seen.isRedirectedOutOfReach())
        return make(Cause::LoopbackOnly,
                    address + " is " + describe(found) + " for programs of its own machine only",
                    "run the program there");
    if (seen.isSentBack)
        return make(Cause::Full, address + inBrackets() + " has no room for a further game",
                    "end one of those that are connected, or start it with a larger --max-games");
    return target.pipe.empty() ? healthy() : judgePipe();
}

Diagnosis Examination::judgePipe() const
{
    switch (seen.pipeAnswer) {
    case PipeAnswer::Opened:
        return healthy();
    case PipeAnswer::Refused:
        return make(Cause::NoSuchPipe,
                    address + inBrackets() + " has no pipe '" + target.pipe + "'",
                    "check the name (letter case does not count); the program makes the pipe by "
                    "getPipe, or lets clients make it by createPipesOnRequest");
    case PipeAnswer::None:
    case PipeAnswer::NotAsked:
        break;
    }
    if (!seen.isRedirecting)
        return stalled("greets, but does not answer when asked for the pipe '" + target.pipe + "'");
    return stalled("sends its clients on to " + seen.redirect.toString() +
                   ", where nobody answers" +
                   (seen.redirectReason.empty() ? "" : ": " + seen.redirectReason));
}

Diagnosis Examination::healthy() const
{
    std::string finding = address + " is healthy: " + describe(found) + inBrackets();
    if (!target.pipe.empty())
        finding += " with the pipe '" + target.pipe + "'";
    std::string advice = std::string("it is for ") + usersOf(found);
    const bool isLocal =
        !seen.listeners.empty() &&
        std::all_of(seen.listeners.begin(), seen.listeners.end(), [](const net::PortListener& one) {
            return Observation::isLoopback(one.address);
        });
    if (isLocal && found != Service::Hub)
        advice += "; of this machine only, unless it is started with ZUL_LISTEN_ADDRESS=0.0.0.0";
    return make(Cause::Healthy, std::move(finding), std::move(advice));
}

} // namespace

Diagnosis diagnose(const Target& target, Service wanted, const Observation& seen)
{
    return Examination(target, wanted, seen).diagnose();
}

tool::ExitCode exitCodeOf(Cause cause)
{
    switch (cause) {
    case Cause::Healthy:
        return tool::ExitCode::Ok;
    case Cause::OtherVersion:
        return tool::ExitCode::VersionMismatch;
    case Cause::Stalled:
    case Cause::NoSuchPipe:
        return tool::ExitCode::TimedOut;
    default:
        return tool::ExitCode::CannotConnect;
    }
}

const char* nameOf(Cause cause)
{
    switch (cause) {
    case Cause::Healthy:
        return "healthy";
    case Cause::NothingListening:
        return "nothing-listening";
    case Cause::Unreachable:
        return "unreachable";
    case Cause::LoopbackOnly:
        return "loopback-only";
    case Cause::OtherAddress:
        return "other-address";
    case Cause::PortTaken:
        return "port-taken";
    case Cause::WrongKind:
        return "wrong-kind";
    case Cause::OtherVersion:
        return "other-version";
    case Cause::Full:
        return "full";
    case Cause::Stalled:
        return "stalled";
    case Cause::NoSuchPipe:
        break;
    }
    return "no-such-pipe";
}

const char* nameOf(Service service)
{
    switch (service) {
    case Service::Pipes:
        return "pipes";
    case Service::Files:
        return "files";
    case Service::Hub:
        return "hub";
    case Service::Monitor:
        return "monitor";
    case Service::Any:
        break;
    }
    return "any";
}

} // namespace doctor
