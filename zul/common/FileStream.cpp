#include <zul/FileStream.h>

#include <algorithm>
#include <cstring>
#include <utility>

namespace zu {

namespace {

constexpr u32 kFieldBytes = 4;

// How much of a text is read at a time: a file system may claim a size that it cannot deliver.
constexpr u32 kTextPieceBytes = 64 * 1024;

void readAll(File& file, void* data, u32 size)
{
    if (file.read(data, size) != size)
        throw StreamException("The file ends in the middle of a field");
}

} // namespace

FileStream::FileStream(File& borrowedFile)
    : file(borrowedFile)
{
}

FileStream& FileStream::operator<<(unsigned int value)
{
    u8 bytes[kFieldBytes] = {static_cast<u8>(value), static_cast<u8>(value >> 8),
                             static_cast<u8>(value >> 16), static_cast<u8>(value >> 24)};
    file.write(bytes, sizeof bytes);
    return *this;
}

FileStream& FileStream::operator<<(int value) { return *this << static_cast<unsigned int>(value); }

FileStream& FileStream::operator<<(const String& text)
{
    if (text.length() > 0xffffffffu)
        throw StreamException("A text is too long for a file");
    *this << static_cast<unsigned int>(text.length());
    file.write(text.c_str(), text.length());
    return *this;
}

FileStream& FileStream::operator<<(const char* text) { return *this << String(text); }

FileStream& FileStream::operator>>(unsigned int& value)
{
    u8 bytes[kFieldBytes];
    readAll(file, bytes, kFieldBytes);
    value = bytes[0] | static_cast<u32>(bytes[1]) << 8 | static_cast<u32>(bytes[2]) << 16 |
            static_cast<u32>(bytes[3]) << 24;
    return *this;
}

FileStream& FileStream::operator>>(int& value)
{
    unsigned int bits = 0;
    *this >> bits;
    value = static_cast<int>(bits);
    return *this;
}

FileStream& FileStream::operator>>(String& text)
{
    u32 length = readLength();
    String read;
    while (read.length() < length) {
        size_t done = read.length();
        u32 piece = std::min(length - static_cast<u32>(done), kTextPieceBytes);
        read.resize(done + piece);
        readAll(file, read.data() + done, piece);
    }
    text = read;
    return *this;
}

// A text's length, checked against what is left.
u32 FileStream::readLength()
{
    unsigned int length = 0;
    *this >> length;
    u64 size = file.getSize();
    u64 position = file.getPosition();
    if (position > size || length > size - position)
        throw StreamException("A text in the file claims to be longer than the file");
    return length;
}

} // namespace zu
