#include "tools/dm/ConnectionWatch.h"

#include "tools/dm/ExitCode.h"
#include "tools/dm/Text.h"

#include <zul/Interrupt.h>

#include <algorithm>
#include <cstdio>
#include <utility>

namespace tool {

namespace {

constexpr std::chrono::seconds kWorthMentioning{1};

} // namespace

ConnectionWatch::ConnectionWatch(std::string managerName,
                                 std::vector<dm::CommunicationPipe*> watchedPipes,
                                 const Address& address, std::function<void()> firstConnected)
    : manager(std::move(managerName))
    , pipes(std::move(watchedPipes))
    , destination(address.toString())
    , onFirstConnected(std::move(firstConnected))
{
}

dm::CommunicationPipe* ConnectionWatch::findMissing() const
{
    const auto found = std::find_if(pipes.begin(), pipes.end(), [](dm::CommunicationPipe* pipe) {
        return !pipe->isConnected();
    });
    return found == pipes.end() ? nullptr : *found;
}

void ConnectionWatch::look(Clock::time_point now)
{
    dm::CommunicationPipe* const missing = findMissing();
    const bool isConnected = missing == nullptr;
    if (!isConnected && state == Awaited && now - start > kWorthMentioning) {
        state = Missed;
        sayMissed(*missing);
    } else if (!isConnected && state == Connected) {
        state = Lost;
        std::fprintf(stderr, "dm: lost the connection to %s, waiting for it to come back\n",
                     destination.c_str());
    } else if (isConnected && state != Connected) {
        if (std::exchange(state, Connected) == Lost)
            std::fprintf(stderr, "dm: connected to %s again\n", destination.c_str());
        else
            onFirstConnected();
    }
}

void ConnectionWatch::sayMissed(dm::CommunicationPipe& missing) const
{
    const dm::ConnectionStatus status = dm::getConnectionStatus(manager.c_str());
    if (status.state == dm::ConnectionStatus::Connected) {
        std::fprintf(stderr, "dm: %s has not opened the pipe '%s' yet, waiting for it\n",
                     destination.c_str(), escapeControls(missing.getName()).c_str());
        return;
    }
    const std::string reason = escapeControls(toStdString(status.lastFailure));
    std::fprintf(stderr, "dm: not connected to %s yet%s%s%s, trying on\n", destination.c_str(),
                 reason.empty() ? "" : " (", reason.c_str(), reason.empty() ? "" : ")");
}

void wakeMainThread(void*, dm::CommunicationPipe*) { zu::Interrupt::get().notify(); }

void requireOwnVersion(const dm::ConnectionStatus& status, const std::string& destination)
{
    if (status.protocolVersion != 0 && status.protocolVersion != dm::kPipeProtocolVersion)
        throw ToolError(ExitCode::VersionMismatch, destination + " speaks version " +
                                                       std::to_string(status.protocolVersion) +
                                                       " of the pipe protocol, this tool version " +
                                                       std::to_string(dm::kPipeProtocolVersion) +
                                                       ": use the dm that came with that program");
}

} // namespace tool
