#include "FileFixture.h"

#include <zul/BufferedMemoryFile.h>
#include <zul/FileStream.h>

#include <cstring>
#include <new>
#include <thread>

using zu::BaseFile;
using zu::FileException;
using zu::FileException_FileOpenFailed;
using zu::FileHandle;
using zu::FileStream;
using zu::StreamException;
using zu::String;
using zu::u64;

// A disk that counts what is asked of it, and can be full or claim sizes it does not have.
class ScriptedDisk : public zu::LocalFileSystem
{
public:
    u64 readFile(FileHandle* handle, void* buffer, u64 count) override
    {
        ++transfers;
        return zu::LocalFileSystem::readFile(handle, buffer, count);
    }
    u64 writeFile(FileHandle* handle, void* buffer, u64 count) override
    {
        ++transfers;
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

    int transfers = 0;
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

TEST_F(File, NamesTheFileThatDoesNotOpen)
{
    try {
        open("missing", BaseFile::Read);
        FAIL() << "opened";
    } catch (const FileException_FileOpenFailed& error) {
        EXPECT_NE(std::string(error.getError()).find("missing"), std::string::npos);
    }
}

TEST_F(File, BehavesLikeBytesInMemoryUnderAnyMixOfOperations)
{
    unsigned seed = std::random_device()();
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    std::string model;
    u64 position = 0;
    zu::File file = open("file", BaseFile::Write);
    for (int step = 0; step < 3000; ++step) {
        u64 limit = random() % 8 == 0 ? 3 * zu::File::kBufferBytes : 300;
        u64 size = random() % limit;
        switch (random() % 4) {
        case 0: {
            std::string bytes(size, static_cast<char>('a' + step % 26));
            file.write(bytes.data(), size);
            if (size != 0)
                model.resize(std::max<size_t>(model.size(), position + size));
            model.replace(position, size, bytes);
            position += size;
            break;
        }
        case 1: {
            std::string bytes(size, '?');
            std::string expected = position < model.size() ? model.substr(position, size) : "";
            ASSERT_EQ(file.read(bytes.data(), size), expected.size());
            ASSERT_EQ(bytes.substr(0, expected.size()), expected);
            position += expected.size();
            break;
        }
        case 2:
            position = random() % (model.size() + 1);
            file.seek(static_cast<zu::s64>(position), BaseFile::SeekFromStart);
            break;
        default:
            ASSERT_EQ(file.getSize(), model.size());
        }
        ASSERT_EQ(file.getPosition(), position);
    }
    file.close();
    EXPECT_EQ(contentOf("file"), model);
}

TEST_F(File, GathersSmallTransfers)
{
    {
        zu::File file = open("file", BaseFile::Write);
        for (int index = 0; index < 1000; ++index)
            file.write("0123", 4);
    }
    EXPECT_EQ(disk.transfers, 1);
    zu::File file = open("file", BaseFile::Read);
    char bytes[4];
    for (int index = 0; index < 1000; ++index)
        EXPECT_EQ(file.read(bytes, 4), 4u);
    EXPECT_EQ(disk.transfers, 2);
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
    { // The destructor has nobody to tell.
        zu::File lost = open("lost", BaseFile::Write);
        lost.write("gathered", 8);
    }
    EXPECT_EQ(disk.closed, 2);
}

TEST_F(File, LosesNoHandleToAFileSystemThatThrows)
{
    {
        zu::File file = open("file", BaseFile::Write);
        file.write("x", 1);
        disk.outOfMemory = true;
    }
    EXPECT_EQ(disk.closed, 1);
    EXPECT_THROW(open("file", BaseFile::Append), std::bad_alloc);
    EXPECT_EQ(disk.closed, 2);
}

TEST_F(File, WritableFolderEndsWithASeparatorAndOutlivesItsSuccessor)
{
    const char* before = zu::File::getFileSysPathForWrite();
    EXPECT_STREQ(before, "./");
    zu::File::setFileSysPathForWrite("/some/where");
    const char* first = zu::File::getFileSysPathForWrite();
    zu::File::setFileSysPathForWrite("devkit:\\");
    EXPECT_STREQ(zu::File::getFileSysPathForWrite(), "devkit:\\");
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

TEST_F(File, StripsFoldersOfEitherKind)
{
    EXPECT_STREQ(zu::File::stripPath("a/b\\c.txt"), "c.txt");
    EXPECT_STREQ(zu::File::stripPath("c.txt"), "c.txt");
    EXPECT_STREQ(zu::File::stripPath("a/"), "");
}

class FileStreamTest : public File
{
};

TEST_F(FileStreamTest, GivesBackWhatWasWrittenByteForByte)
{
    String text("line\nfeed\0zero", 14);
    {
        zu::File file = open("file", BaseFile::Write);
        FileStream stream(file);
        stream << -2 << 0x01020304u << text << "" << 7;
    }
    EXPECT_EQ(contentOf("file").substr(0, 12), std::string("\xfe\xff\xff\xff\x04\x03\x02\x01"
                                                           "\x0e\0\0\0",
                                                           12));
    zu::File file = open("file", BaseFile::Read);
    FileStream stream(file);
    int negative = 0;
    unsigned int number = 0;
    zu::InplaceString<4> read;
    zu::InplaceString<4> none = "some";
    int last = 0;
    stream >> negative >> number >> read >> none >> last;
    EXPECT_EQ(negative, -2);
    EXPECT_EQ(number, 0x01020304u);
    EXPECT_TRUE(read == text);
    EXPECT_TRUE(none.empty());
    EXPECT_EQ(last, 7);
    EXPECT_THROW(stream >> last, StreamException);
    EXPECT_EQ(last, 7);
}

TEST_F(FileStreamTest, RefusesTextsLongerThanTheFile)
{
    make("file", std::string("\xff\xff\xff\xff"
                             "abc",
                             7));
    String text("kept");
    zu::File file = open("file", BaseFile::Read);
    EXPECT_THROW(FileStream(file) >> text, StreamException);
    // Not even when the file claims to be large enough is the length's memory taken.
    disk.claimedSize = ~0ull;
    file.seek(0, BaseFile::SeekFromStart);
    EXPECT_THROW(FileStream(file) >> text, StreamException);
    EXPECT_TRUE(text == "kept");
}

using BufferedMemoryFile = File;

TEST_F(BufferedMemoryFile, HoldsTheWholeFileOrThrows)
{
    std::string content(20'000'000, 'c'); // more than one read
    content[17'000'000] = 'd';
    std::string path = make("file", content);
    zu::BufferedMemoryFile whole(path.c_str(), disk);
    ASSERT_EQ(whole.getSize(), content.size());
    EXPECT_EQ(std::memcmp(whole.getData(), content.data(), content.size()), 0);
    EXPECT_EQ(zu::BufferedMemoryFile(make("empty").c_str(), disk).getSize(), 0u);
    EXPECT_THROW(zu::BufferedMemoryFile(at("missing").c_str(), disk), FileException_FileOpenFailed);
    for (u64 claimed : {content.size() + 1, size_t(~0ull)}) {
        disk.claimedSize = claimed;
        EXPECT_THROW(zu::BufferedMemoryFile(path.c_str(), disk), FileException);
    }
}
