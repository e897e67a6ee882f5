/// Text of any length whose storage a derived class may bring along.
///
/// Functions take text as `const zu::String&`; variables are usually zu::InplaceString<N>, which
/// fits every such parameter and keeps short text out of the heap. A plain String is for text
/// that is rarely set and often long.
///
///     zu::String path("assets/hero.mesh");
///     size_t dot = path.rfind('.');
///     if (dot != zu::String::npos)
///         path.erase(dot);
///
/// The length is tracked: zero bytes inside the text survive every operation that does not take a
/// zero-terminated string. A terminator always follows the last character.
///
/// Threads: as for an int; one writer, or any number of readers.
/// Errors: zu::Exception when memory runs out; the text is unchanged then.
#pragma once

#include <zul/Types.h>
#include <zul/export.h>

#include <cassert>
#include <cstdarg>
#include <cstring>
#include <string_view>

#if defined(__GNUC__)
/// Lets the compiler check a printf-like function's arguments; counted from 1, members from 2.
#define ZUL_PRINTF_LIKE(formatIndex, firstArgument)                                                \
    __attribute__((format(printf, formatIndex, firstArgument)))
#else
#define ZUL_PRINTF_LIKE(formatIndex, firstArgument)
#endif

namespace zu {

class ZUL_API String
{
public:
    static constexpr size_t npos = static_cast<size_t>(-1);

    String() noexcept
        : characters(tiny)
        , room(kTinyRoom)
    {
        tiny[0] = '\0';
    }
    /// Null counts as "".
    String(const char* text)
        : String()
    {
        assign(text);
    }
    String(const char* text, size_t count)
        : String()
    {
        assign(text, count);
    }
    String(const String& other)
        : String()
    {
        assign(other.characters, other.used);
    }
    String(String&& other)
        : String()
    {
        moveFrom(other, kTinyRoom);
    }
    ~String()
    {
        if (onHeap)
            freeHeap();
    }

    String& operator=(const char* text)
    {
        assign(text);
        return *this;
    }
    String& operator=(const String& other)
    {
        assign(other.characters, other.used);
        return *this;
    }
    String& operator=(String&& other)
    {
        if (this != &other)
            moveFrom(other, kTinyRoom);
        return *this;
    }

    /// Replaces the text. The source may lie inside this string.
    void assign(const char* text) { assign(text, text ? std::strlen(text) : 0); }
    void assign(const char* text, size_t count)
    {
        if (count > room)
            return assignGrowing(text, count);
        if (count != 0)
            std::memmove(characters, text, count);
        setLength(count);
    }

    /// Never null, always terminated. Valid until the next change of the string.
    const char* c_str() const { return characters; }
    const char* data() const { return characters; }
    char* data() { return characters; }
    std::string_view view() const { return {characters, used}; }

    size_t length() const { return used; }
    bool empty() const { return used == 0; }
    /// How long the text may become without taking new memory.
    size_t capacity() const { return room; }

    /// index may equal length(): that is the terminator, which must stay zero.
    char operator[](size_t index) const
    {
        assert(index <= used);
        return characters[index];
    }
    char& operator[](size_t index)
    {
        assert(index <= used);
        return characters[index];
    }

    /// Cuts, or lengthens with `fill`.
    void resize(size_t count, char fill = '\0');
    void reserve(size_t count)
    {
        if (count > room)
            grow(count);
    }
    /// Keeps the storage.
    void clear() { setLength(0); }

    /// Appending a part of the string itself is allowed.
    String& append(const char* text, size_t count)
    {
        if (count > room - used) {
            appendGrowing(text, count);
            return *this;
        }
        if (count != 0)
            std::memmove(characters + used, text, count);
        setLength(used + count);
        return *this;
    }
    String& append(const char* text) { return append(text, text ? std::strlen(text) : 0); }
    String& append(const String& text) { return append(text.characters, text.used); }
    String& append(char character) { return append(&character, 1); }
    String& operator+=(const char* text) { return append(text); }
    String& operator+=(const String& text) { return append(text); }
    String& operator+=(char character) { return append(character); }

    /// position is at most length().
    void insert(size_t position, char character);
    /// Removes up to `count` characters; a position at or past the end removes nothing.
    void erase(size_t position, size_t count = npos);
    /// Up to `count` characters; "" when position is at or past the end.
    String substr(size_t position, size_t count = npos) const;

    /// The first `character` at or after `from`, or npos.
    size_t find(char character, size_t from = 0) const;
    /// The last `character` at or before `from`, or npos.
    size_t rfind(char character, size_t from = npos) const;

    /// ASCII only; other bytes stay as they are, whatever the locale.
    void toLower();

    /// Both ignore the case of ASCII letters. Null counts as "".
    bool equalsNoCase(const char* other) const;
    bool startsWithNoCase(const char* prefix) const;

protected:
    /// Keeps the constructor below from being taken for the one that copies.
    struct OwnStorage
    {
    };
    /// For a derived class that brings `count` + 1 bytes of storage. It writes the first
    /// terminator itself: its storage does not exist yet while this runs.
    String(OwnStorage, char* storage, size_t count) noexcept
        : characters(storage)
        , room(count)
    {
    }

    /// Takes over other's heap block if its text is longer than `keepUpTo`, else copies the text.
    /// Leaves other empty.
    void moveFrom(String& other, size_t keepUpTo)
    {
        if (other.onHeap && other.used > keepUpTo)
            return stealHeap(other);
        assign(other.characters, other.used);
        other.setLength(0);
    }
    void stealHeap(String& other) noexcept;

    bool ownsHeap() const { return onHeap; }
    /// Empties the string and points it back at its own storage.
    void useStorage(char* storage, size_t count) noexcept
    {
        if (onHeap)
            freeHeap();
        onHeap = false;
        characters = storage;
        room = count;
        setLength(0);
    }

private:
    static constexpr size_t kTinyRoom = 6;

    void setLength(size_t count)
    {
        used = count;
        characters[count] = '\0';
    }
    void freeHeap() noexcept;
    void grow(size_t count);
    void assignGrowing(const char* text, size_t count);
    void appendGrowing(const char* text, size_t count);
    void adopt(char* block, size_t count) noexcept;

    char* characters;
    size_t used = 0;
    size_t room; ///< characters that fit, the terminator not counted
    bool onHeap = false;
    char tiny[kTinyRoom + 1]; ///< storage of a plain String until it grows
};

/// Portable comparison without regard to the case of ASCII letters: letters are folded to lower
/// case, bytes compare unsigned, a prefix comes first. Negative, zero or positive.
ZUL_API int stricmp(const char* left, const char* right);
/// The same, over at most `count` characters.
ZUL_API int strnicmp(const char* left, const char* right, size_t count);

/// The order of stricmp, over the whole lengths (zero bytes included).
ZUL_API int compareNoCase(const char* left, size_t leftLength, const char* right,
                          size_t rightLength);

/// Orders without regard to case, so that maps and sets of names do. Equality below is exact: two
/// texts may differ although neither is less than the other.
inline bool operator<(const String& left, const String& right)
{
    return compareNoCase(left.c_str(), left.length(), right.c_str(), right.length()) < 0;
}

/// Exact: case and length count.
inline bool operator==(const String& left, const String& right)
{
    return left.length() == right.length() &&
           std::memcmp(left.c_str(), right.c_str(), left.length()) == 0;
}
inline bool operator==(const String& left, const char* right)
{
    return left.view() == std::string_view(right ? right : "");
}

/// printf into a fixed buffer, with two ways of treating a result that is too long.
///
///   size    bytes in `buffer`, the terminator included; 0 stores nothing.
///   count   the longest result wanted. Below size: a longer result is cut to count characters.
///           Otherwise a result that does not fit leaves the buffer empty.
///
/// Returns the characters stored, or -1 when the result was cut or dropped. Always terminates.
ZUL_API int formatBounded(char* buffer, size_t size, size_t count, const char* format,
                          va_list arguments);

} // namespace zu
