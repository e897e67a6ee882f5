/// The way to the file server: one request a command, on its pipe.
///
/// The pipe is looked up anew for each command, as that of the only manager. While a command waits
/// it keeps the manager from being destroyed; deinitialising the manager makes it return. Without
/// such a pipe, and on its manager's own thread, there is no answer.
#pragma once

#include "dm/comm/NetCommunicationPipe.h"
#include "dm/common/LockOrder.h"
#include "dm/fs/FileCommands.h"

#include <string_view>

namespace dm {

/// Has the callback called at each connection of the pipe from now on, if there is such a pipe.
void watchFileServer(PipeCallback connected);

/// For that callback: counts the pipe's connections, as NetCommunicationPipe::Answer does.
uint32 connectionNumber(const CommunicationPipe& fileServerPipe);

/// Blocks without limit. Answers that did not arrive have an empty text and no data.
///
///   question   what is sent along, or the buffer to fill; the command is its text.
NetCommunicationPipe::Answer askFileServer(const Command& command,
                                           NetCommunicationPipe::Question question = {});

/// A command that is answered with a list. All lists of the process go through one buffer, one
/// after the other: from construction to destruction this holds the lock of the buffer. Read the
/// list, then let go: what is called meanwhile must not ask for lists.
class ListRequest
{
public:
    ListRequest();
    ~ListRequest();
    ListRequest(const ListRequest&) = delete;
    ListRequest& operator=(const ListRequest&) = delete;

    /// Once. False when there is no answer.
    bool send(const Command& command);

    /// Empty when nothing has arrived. Lives as long as this object.
    std::string_view list() const;

    /// Over which connection it came.
    uint32 connection() const { return answer.connection; }

private:
    bool mayWait;
    NetCommunicationPipe::Answer answer;
};

} // namespace dm
