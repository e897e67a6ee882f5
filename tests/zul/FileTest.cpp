#include "FileFixture.h"
#include "support/RandomSeed.h"

#include <zul/BufferedMemoryFile.h>
#include <zul/FileStream.h>

#include <cstring>
#include <new>
#include <thread>

using zu::BaseFile;
using zu::FileException;
using zu::FileHandle;
using zu::FileStream;
using zu::StreamException;
using zu::String;
using zu::u64;

// A disk that can be full or out of memory, or claim sizes it does not have.
class ScriptedDisk : public zu::LocalFileSystem
{
public:
    u64 writeFile(FileHandle* handle, void* buffer, u64 count) override
    {
        if (outOfMemory)
            throw std::bad_alloc();
        u64 written = zu::LocalFileSystem::writeFile(handle, buffer, std::min(count, freeBytes));
        freeBytes -= written;
        return written;
    }
    u64 getFileSize(FileHandle* handle) override
    {
        if (outOfMemory)
            throw std::bad_alloc();
        return claimedSize != 0 ? claimedSize : zu::LocalFileSystem::getFileSize(handle);
    }
    bool closeFile(FileHandle* handle) override
    {
        ++closed;
        return zu::LocalFileSystem::closeFile(handle);
    }

    int closed = 0;
    u64 freeBytes = ~0ull;
    u64 claimedSize = 0;
    bool outOfMemory = false;
};

class File : public FileFixture
{
protected:
    zu::File open(const char* name, BaseFile::Mode mode)
    {
        return zu::File(at(name).c_str(), mode, disk);
    }

    ScriptedDisk disk;
};

TEST_F(File, IsBytesInMemoryUnderAnyMixOfOperations)
{
    std::mt19937 random(support::randomSeed());
    std::string model;
    u64 position = 0;
    zu::File file = open("file", BaseFile::Write);
    for (int step = 0; step < 3000; ++step) {
        u64 limit = random() % 8 == 0 ? 3 * zu::File::kBufferBytes : 300;
        u64 size = random() % limit;
        std::string bytes(size, static_cast<char>('a' + step % 26));
        if (int operation = static_cast<int>(random() % 3); operation == 0) {
            file.write(bytes.data(), size);
            model.resize(std::max<size_t>(model.size(), position + size));
            model.replace(position, size, bytes);
            position += size;
        } else if (operation == 1) {
            bytes.resize(file.read(bytes.data(), size));
            ASSERT_EQ(bytes, model.substr(position, size));
            position += bytes.size();
        } else {
            position = random() % (file.getSize() + 1);
            const auto from = static_cast<BaseFile::SeekMode>(random() % 3);
            const u64 origin = from == BaseFile::SeekFromCurrent ? file.getPosition() : 0;
            const u64 target = from == BaseFile::SeekFromEnd ? file.getSize() - position : position;
            ASSERT_EQ(file.seek(static_cast<zu::s64>(target - origin), from), position);
        }
        ASSERT_TRUE(step % 4 || file.getSize() == model.size()); // asking may write
        ASSERT_EQ(file.getPosition(), position);
    }
    file.close();
    EXPECT_EQ(contentOf("file"), model);
}

TEST_F(File, AppendsAtTheEndAndRefusesToWriteWhatIsOnlyRead)
{
    make("file", "abc");
    open("file", BaseFile::Append).write("def", 3);
    EXPECT_EQ(contentOf("file"), "abcdef");
    zu::File reading = open("file", BaseFile::Read);
    EXPECT_THROW(reading.write("x", 1), FileException);
    reading.close();
    reading.close();
    EXPECT_THROW(reading.read(nullptr, 0), FileException);
}

TEST_F(File, FullDiskIsReportedOnceAndTheFileClosed)
{
    disk.freeBytes = 10;
    zu::File file = open("file", BaseFile::Write);
    std::string large(zu::File::kBufferBytes, 'x');
    EXPECT_THROW(file.write(large.data(), large.size()), FileException);
    file.write("gathered", 8);
    EXPECT_THROW(file.close(), FileException);
    EXPECT_FALSE(file.isOpen());
    EXPECT_EQ(disk.closed, 1);
}

TEST_F(File, ADestructorLosesNoHandleWhateverTheDiskDoes)
{
    disk.freeBytes = 0;
    open("full", BaseFile::Write).write("gathered", 8);
    EXPECT_EQ(disk.closed, 1);
    {
        zu::File file = open("file", BaseFile::Write);
        file.write("x", 1);
        disk.outOfMemory = true;
    }
    EXPECT_THROW(open("file", BaseFile::Append), std::bad_alloc);
    EXPECT_EQ(disk.closed, 3);
}

TEST_F(File, WritableFolderEndsWithASeparatorAndOutlivesItsSuccessor)
{
    zu::File::setFileSysPathForWrite("/some/where");
    const char* first = zu::File::getFileSysPathForWrite();
    std::thread setting([] {
        for (int index = 0; index < 500; ++index)
            zu::File::setFileSysPathForWrite(std::to_string(index % 7).c_str());
    });
    for (int index = 0; index < 500; ++index)
        EXPECT_NE(std::strpbrk(zu::File::getFileSysPathForWrite(), "/\\"), nullptr);
    setting.join();
    EXPECT_STREQ(first, "/some/where/");
    zu::File::setFileSysPathForWrite(nullptr);
    EXPECT_STREQ(zu::File::getFileSysPathForWrite(), "./");
}

using FileStreamTest = File;

TEST_F(FileStreamTest, RefusesTextsLongerThanTheFile)
{
    make("file", "\xff\xff\xff\xff text");
    String text("kept");
    zu::File file = open("file", BaseFile::Read);
    EXPECT_THROW(FileStream(file) >> text, StreamException);
    // Not even when the file claims to be large enough is the length's memory taken.
    disk.claimedSize = ~0ull;
    file.seek(0, BaseFile::SeekFromStart);
    EXPECT_THROW(FileStream(file) >> text, StreamException);
    EXPECT_TRUE(text == "kept");
}

TEST_F(File, IsHeldWholeInMemoryOrThrows)
{
    std::string content(20'000'000, 'c'); // more than one read
    content[17'000'000] = 'd';
    std::string path = make("file", content);
    zu::BufferedMemoryFile whole(path.c_str(), disk);
    ASSERT_EQ(whole.getSize(), content.size());
    EXPECT_EQ(std::memcmp(whole.getData(), content.data(), content.size()), 0);
    EXPECT_THROW(open("missing", BaseFile::Read), zu::FileException_FileOpenFailed);
    for (u64 claimed : {content.size() + 1, size_t(~0ull)}) {
        disk.claimedSize = claimed;
        EXPECT_THROW(zu::BufferedMemoryFile(path.c_str(), disk), FileException);
    }
}
