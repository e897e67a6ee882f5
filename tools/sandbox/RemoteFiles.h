#pragma once

#include "tools/sandbox/Background.h"
#include "tools/sandbox/Output.h"
#include "tools/sandbox/Pipes.h"

#include <dm/fs.h>

namespace sandbox {

/// A file server's folders as the game's own, for as long as the server is there.
///
/// While it is not, the game's own file system is installed: an operation would wait for the server
/// to come back, and the console keeps its lines in a file.
///
/// Threads: the main thread's.
/// Order: made right after Pipes::connect; destroyed when the pipes have ended and nobody uses a
/// file.
class RemoteFiles
{
public:
    RemoteFiles(Pipes& link, Background& helper, Output& words);
    ~RemoteFiles();
    RemoteFiles(const RemoteFiles&) = delete;
    RemoteFiles& operator=(const RemoteFiles&) = delete;

    /// Once per frame.
    void poll();

private:
    void learnFolders();

    Background& background;
    Output& output;
    dm::NetworkFileSystem fileSystem;
    dm::CommunicationPipe* const pipe;
    bool wasConnected = false;
};

} // namespace sandbox
