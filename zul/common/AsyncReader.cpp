#include "zul/common/AsyncReader.h"

#include <algorithm>
#include <cassert>
#include <utility>

namespace zu {

AsyncReader::~AsyncReader()
{
    {
        std::lock_guard guard(lock);
        assert(waiting.empty() && "close all files before the file system");
        waiting.clear();
        stopping = true;
    }
    wakeUp.notify_one();
    joinThread();
}

void AsyncReader::add(FileHandle* handle, void* buffer, u64 count,
                      const FileSystem::ReadCallback& completed)
{
    std::lock_guard guard(lock);
    if (!started)
        startThread();
    started = true;
    waiting.push_back({handle, buffer, count, completed});
    wakeUp.notify_one();
}

void AsyncReader::finish(FileHandle* handle)
{
    std::deque<Read> failed;
    {
        std::unique_lock guard(lock);
        if (readingThread != std::this_thread::get_id()) {
            finishing.push_back(handle);
            readDone.wait(guard, [&] { return current != handle || handle == nullptr; });
            finishing.erase(std::find(finishing.begin(), finishing.end(), handle));
        }
        takeReadsOf(handle, failed);
    }
    for (const Read& read : failed) {
        if (read.completed)
            read.completed(read.handle, 0);
    }
}

// Under the lock.
std::deque<AsyncReader::Read>::iterator AsyncReader::nextRead()
{
    return std::find_if(waiting.begin(), waiting.end(), [this](const Read& read) {
        return std::find(finishing.begin(), finishing.end(), read.handle) == finishing.end();
    });
}

// Under the lock.
void AsyncReader::takeReadsOf(FileHandle* handle, std::deque<Read>& outTaken)
{
    std::deque<Read> kept;
    for (Read& read : waiting)
        (read.handle == handle ? outTaken : kept).push_back(std::move(read));
    waiting.swap(kept);
}

int AsyncReader::run()
{
    setThreadName(currentThreadId(), "zul - File reads");
    std::unique_lock guard(lock);
    readingThread = std::this_thread::get_id();
    for (;;) {
        wakeUp.wait(guard, [this] { return stopping || nextRead() != waiting.end(); });
        auto next = nextRead();
        if (next == waiting.end())
            return 0;
        Read read = std::move(*next);
        waiting.erase(next);
        current = read.handle;
        guard.unlock();
        perform(read);
        guard.lock();
        current = nullptr;
        readDone.notify_all();
    }
}

void AsyncReader::perform(const Read& read)
{
    u64 count = fileSystem.readFile(read.handle, read.buffer, read.count);
    if (read.completed)
        read.completed(read.handle, count);
}

} // namespace zu
