// The thread behind FileSystem::readFileAsync.
//
// Life of the thread: the first read starts it, the destructor joins it. It sleeps on wakeUp while
// there is nothing to read.
#pragma once

#include <zul/FileSystem.h>
#include <zul/Thread.h>
#include <zul/Types.h>

#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>
#include <vector>

namespace zu {

class AsyncReader : private Thread
{
public:
    explicit AsyncReader(FileSystem& servedFileSystem)
        : fileSystem(servedFileSystem)
    {
    }

    // All handles are closed by now, so there is nothing left to read.
    ~AsyncReader() override;

    void add(FileHandle* handle, void* buffer, u64 count,
             const FileSystem::ReadCallback& completed);

    // Fails the handle's reads that have not begun and waits for the one that has, its callback
    // included: that may ask for the next read, of a handle that is about to be freed. A callback
    // that closes a file does not wait, since it would for itself.
    void finish(FileHandle* handle);

private:
    struct Read
    {
        FileHandle* handle;
        void* buffer;
        u64 count;
        FileSystem::ReadCallback completed;
    };

    int run() override;
    void perform(const Read& read);
    std::deque<Read>::iterator nextRead();
    void takeReadsOf(FileHandle* handle, std::deque<Read>& outTaken);

    FileSystem& fileSystem;

    // Under the lock, which is never held while reading or calling back.
    std::mutex lock;
    std::condition_variable wakeUp;   // something to read, or stopping
    std::condition_variable readDone; // current became null
    std::thread::id readingThread;
    std::deque<Read> waiting;
    std::vector<FileHandle*> finishing; // no read of these begins any more
    FileHandle* current = nullptr;      // being read, until its callback has returned
    bool started = false;
    bool stopping = false;
};

} // namespace zu
