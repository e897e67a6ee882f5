#include <dm/comm.h>

#include <cstdio>
#include <semaphore>
#include <thread>

// The game's end, a thread a pipe: waits for a request, takes it, answers it with some bytes.
void answer(const char* pipeName, const char* bytes, dm::uint32 size)
{
    std::counting_semaphore<> asked(0);
    dm::CommunicationPipe* pipe = dm::getCommunicationPipe("game", pipeName);
    pipe->setRequestCallback({&asked, [](void* semaphore, dm::CommunicationPipe*) {
                                  static_cast<std::counting_semaphore<>*>(semaphore)->release();
                              }});
    zu::InplaceString<128> text;
    while ((text = pipe->receiveRequest(nullptr)).empty())
        asked.acquire();
    std::printf("game: %s: %s\n", pipeName, text.c_str());
    pipe->respond("ok", bytes, size);
    pipe->setRequestCallback({});
}

int main()
{
    dm::setResponseCapacityEnforced(true);
    dm::uint32 port = 0;
    dm::initCommunicationManagerAsServer("game", 0, 1, true)->getHost(&port);
    std::thread assets(answer, "assets", "three vertices", 14);
    std::thread stats(answer, "stats", "60 frames/s", 11);

    // The tool's end, usually in another process, asks on both pipes.
    dm::initCommunicationManagerAsClient("tool", "127.0.0.1", static_cast<int>(port));
    for (const char* name : {"assets", "stats"}) {
        char data[256];
        dm::uint32 size = 0;
        dm::CommunicationPipe* pipe = dm::getCommunicationPipe("tool", name);
        auto text = pipe->sendRequest("read", 0, data, sizeof data, &size, nullptr, 0);
        std::printf("tool: %s: %s, %.*s\n", name, text.c_str(), static_cast<int>(size), data);
    }
    assets.join();
    stats.join();
    dm::deinitCommunicationManagers();
}
