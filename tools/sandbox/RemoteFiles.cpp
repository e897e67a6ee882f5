#include "tools/sandbox/RemoteFiles.h"

#include <zul/FileSystem.h>
#include <zul/LocalFileSystem.h>

namespace sandbox {

RemoteFiles::RemoteFiles(Pipes& link, Output& words)
    : output(words)
    , fileSystem(zu::LocalFileSystem::getInstance())
    , pipe(link.open(dm::NetworkFileSystem::kPipeName))
{
}

RemoteFiles::~RemoteFiles() { zu::FileSystem::set(nullptr); }

void RemoteFiles::poll()
{
    const bool isConnected = pipe->isConnected();
    if (isConnected == isInstalled)
        return;
    isInstalled = isConnected;
    zu::FileSystem::set(isConnected ? &fileSystem : nullptr);
    output.print(isConnected
                     ? "the file server is there: its folders are ours"
                     : "the file server is gone; as soon as it is back, so are its folders");
}

} // namespace sandbox
