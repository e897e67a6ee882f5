#include "dm/comm/OutgoingMessages.h"

namespace dm {

void OutgoingMessages::restart()
{
    for (size_t index = 0; index < requests.size(); ++index) {
        // One that is answered already only waits for its caller to wake up.
        OutgoingRequest& request = requests[index];
        if (request.responseReceived)
            continue;
        request.sending.restart();
        request.responseSize = 0;
        request.responseReceivedBytes = 0;
    }
    for (size_t index = 0; index < responses.size(); ++index) {
        if (!responses[index].sending.sent)
            responses[index].sending.restart();
    }
    notifications.clear();
    notifyCost = 0;
}

} // namespace dm
