#include "tools/sandbox/RemoteFiles.h"

#include <zul/FileSystem.h>
#include <zul/LocalFileSystem.h>

namespace sandbox {

RemoteFiles::RemoteFiles(Pipes& link, Background& helper, Output& words)
    : background(helper)
    , output(words)
    , fileSystem(zu::LocalFileSystem::getInstance())
    , pipe(link.open(dm::NetworkFileSystem::kPipeName))
{
}

RemoteFiles::~RemoteFiles() { zu::FileSystem::set(nullptr); }

void RemoteFiles::poll()
{
    const bool isConnected = pipe->isConnected();
    if (isConnected == wasConnected)
        return;
    wasConnected = isConnected;
    if (isConnected)
        return learnFolders();
    zu::FileSystem::set(nullptr);
    output.print("the file server is gone; as soon as it is back, so are its folders");
}

// The first operation after a connection asks the server which folders it has. Here that is not one
// of the main thread.
void RemoteFiles::learnFolders()
{
    background.inOrder([this]() -> Background::Finish {
        fileSystem.fileExists("");
        return [this] {
            if (!pipe->isConnected())
                return;
            zu::FileSystem::set(&fileSystem);
            output.print("the file server is there: its folders are ours");
        };
    });
}

} // namespace sandbox
