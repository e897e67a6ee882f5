#include "bench/contenders/FileContenders.h"
#include "bench/contenders/Lines.h"

namespace bench {

std::vector<std::string> Setup::toArguments() const
{
    return {"--answer-bytes", std::to_string(answerBytes),
            "--yield-us",     std::to_string(yieldMicroseconds),
            "--pipes",        std::to_string(pipes),
            "--hub-port",     std::to_string(hubPort)};
}

Serve findServer(const std::string& name)
{
    for (const RequestContender& contender :
         {dmRequests(), hopLimit(), rawTcp(), zeroMqRequests(), zeroMqRouter(), hubForward(),
          hubMember(), rawTcpFileServer(), monitorCounter(), spdlogReceiver(), monitorReaders(),
          monitorStoppers(), monitorGame()})
        if (contender.name == name)
            return contender.serve;
    for (const NotifyContender& contender : {dmNotifications(), zeroMqPush()})
        if (contender.name == name)
            return contender.serve;
    return name == zeroMqProxy().name ? zeroMqProxy().serve : nullptr;
}

} // namespace bench
