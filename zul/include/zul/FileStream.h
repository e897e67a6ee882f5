/// Typed fields in a file, one after the other.
///
///     zu::File file(path, zu::File::Write);
///     zu::FileStream stream(file);
///     stream << version << count << name;
///     file.close();
///
/// Read back with >> in the same order. An int or unsigned int is 4 bytes, little-endian; a text is
/// its length as an unsigned int and its bytes, so line feeds and zeros survive.
///
/// Threads: one at a time.
/// Ownership: borrows the file and reads and writes at its position.
/// Errors: throws StreamException, leaving the variable alone, when the file ends within a field or
/// a text claims to be longer than the rest of the file; FileException as File::write does.
/// Limits: a text's memory grows with the bytes that are really there, never by its claim.
#pragma once

#include <zul/File.h>
#include <zul/String.h>
#include <zul/Types.h>
#include <zul/export.h>

namespace zu {

class ZUL_API FileStream
{
public:
    explicit FileStream(File& borrowedFile);

    FileStream& operator<<(int value);
    FileStream& operator<<(unsigned int value);
    FileStream& operator<<(const String& text);
    FileStream& operator<<(const char* text);

    FileStream& operator>>(int& value);
    FileStream& operator>>(unsigned int& value);
    FileStream& operator>>(String& text);

private:
    u32 readLength();

    File& file;
};

} // namespace zu
