#include "zul/common/LetterCase.h"

#include <zul/Exception.h>
#include <zul/Memory.h>
#include <zul/String.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>

namespace zu {

namespace {

constexpr size_t kLongestText = String::npos / 2;

/// Storage for at least `wanted` characters, growing by half so that appending stays cheap.
char* allocateText(size_t wanted, size_t current, size_t& room)
{
    if (wanted > kLongestText)
        throw Exception("a text is longer than memory");
    room = std::max(wanted, current + current / 2);
    return static_cast<char*>(allocateMemory(room + 1));
}

int foldedDifference(char left, char right) { return foldCase(left) - foldCase(right); }

/// How many leading bytes are alike, a word at a time; may stop up to a word early.
size_t equalPrefix(const char* left, const char* right, size_t count)
{
    size_t position = 0;
    for (; count - position >= sizeof(uint64_t); position += sizeof(uint64_t)) {
        uint64_t leftWord = 0;
        uint64_t rightWord = 0;
        std::memcpy(&leftWord, left + position, sizeof leftWord);
        std::memcpy(&rightWord, right + position, sizeof rightWord);
        if (leftWord != rightWord)
            break;
    }
    return position;
}

} // namespace

void String::freeHeap() noexcept { deleteMemory(characters); }

void String::adopt(char* block, size_t count) noexcept
{
    if (onHeap)
        freeHeap();
    characters = block;
    room = count;
    onHeap = true;
}

void String::stealHeap(String& other) noexcept
{
    adopt(other.characters, other.room);
    used = other.used;
    other.onHeap = false;
    other.useStorage(other.tiny, kTinyRoom);
}

void String::grow(size_t count)
{
    size_t newRoom = 0;
    char* block = allocateText(count, room, newRoom);
    std::memcpy(block, characters, used + 1);
    adopt(block, newRoom);
}

void String::assignGrowing(const char* text, size_t count)
{
    size_t newRoom = 0;
    char* block = allocateText(count, room, newRoom);
    std::memcpy(block, text, count);
    adopt(block, newRoom);
    setLength(count);
}

// The old storage goes last: `text` may lie in it.
void String::appendGrowing(const char* text, size_t count)
{
    if (count > kLongestText)
        throw Exception("a text is longer than memory");
    size_t newRoom = 0;
    char* block = allocateText(used + count, room, newRoom);
    std::memcpy(block, characters, used);
    std::memcpy(block + used, text, count);
    adopt(block, newRoom);
    setLength(used + count);
}

void String::resize(size_t count, char fill)
{
    reserve(count);
    if (count > used)
        std::memset(characters + used, fill, count - used);
    setLength(count);
}

void String::insert(size_t position, char character)
{
    assert(position <= used);
    append(character);
    std::memmove(characters + position + 1, characters + position, used - 1 - position);
    characters[position] = character;
}

void String::erase(size_t position, size_t count)
{
    if (position >= used)
        return;
    const size_t removed = std::min(count, used - position);
    const size_t rest = used - position - removed;
    std::memmove(characters + position, characters + position + removed, rest);
    setLength(used - removed);
}

String String::substr(size_t position, size_t count) const
{
    if (position >= used)
        return String();
    return String(characters + position, std::min(count, used - position));
}

size_t String::find(char character, size_t from) const { return view().find(character, from); }

size_t String::rfind(char character, size_t from) const { return view().rfind(character, from); }

void String::toLower()
{
    for (size_t i = 0; i < used; ++i)
        characters[i] = static_cast<char>(foldCase(characters[i]));
}

bool String::equalsNoCase(const char* other) const
{
    return compareNoCase(characters, used, other, other ? std::strlen(other) : 0) == 0;
}

bool String::startsWithNoCase(const char* prefix) const
{
    const size_t count = prefix ? std::strlen(prefix) : 0;
    return count <= used && compareNoCase(characters, count, prefix, count) == 0;
}

int stricmp(const char* left, const char* right) { return strnicmp(left, right, String::npos); }

int strnicmp(const char* left, const char* right, size_t count)
{
    for (size_t i = 0; i < count; ++i) {
        const int difference = foldedDifference(left[i], right[i]);
        if (difference != 0 || left[i] == '\0')
            return difference;
    }
    return 0;
}

int compareNoCase(const char* left, size_t leftLength, const char* right, size_t rightLength)
{
    const size_t common = std::min(leftLength, rightLength);
    for (size_t i = equalPrefix(left, right, common); i < common; ++i) {
        const int difference = foldedDifference(left[i], right[i]);
        if (difference != 0)
            return difference;
    }
    return leftLength < rightLength ? -1 : leftLength > rightLength;
}

int formatBounded(char* buffer, size_t size, size_t count, const char* format, va_list arguments)
{
    if (size == 0)
        return -1;
    const int result = std::vsnprintf(buffer, size, format, arguments);
    const size_t limit = std::min(count, size - 1);
    if (result >= 0 && static_cast<size_t>(result) <= limit)
        return result;
    const bool cut = result >= 0 && count < size;
    buffer[cut ? count : 0] = '\0';
    return -1;
}

} // namespace zu
