/// A String with room for N characters inside the object.
///
/// The usual string variable, member, container element and return value: text up to N characters
/// costs no allocation, longer text moves to the heap by itself and is never cut. Copying and
/// moving cost the length of the text, not N.
///
///     zu::InplaceString<128> name = "hero";
///     name += ".mesh";
///     load(name);   // void load(const zu::String&)
///
/// Limits: N characters and a terminator inline; the heap's beyond. A text on the heap that is
/// moved into a plain String takes the room along; the next InplaceString moved here brings it
/// back.
#pragma once

#include <zul/String.h>
#include <zul/export.h>

#include <cstdarg>
#include <utility>

namespace zu {

template <size_t N>
class InplaceString : public String
{
    static_assert(N > 0, "use zu::String");

public:
    InplaceString() noexcept
        : String(OwnStorage(), storage, N)
    {
        storage[0] = '\0';
    }
    /// Null counts as "".
    InplaceString(const char* text)
        : InplaceString()
    {
        assign(text);
    }
    InplaceString(const char* text, size_t count)
        : InplaceString()
    {
        assign(text, count);
    }
    InplaceString(const String& other)
        : InplaceString()
    {
        assign(other.c_str(), other.length());
    }
    InplaceString(String&& other)
        : InplaceString()
    {
        moveFrom(other, N);
    }
    InplaceString(const InplaceString& other)
        : InplaceString()
    {
        assign(other.c_str(), other.length());
    }
    InplaceString(InplaceString&& other) noexcept
        : InplaceString()
    {
        take(other);
    }
    ~InplaceString() = default;

    InplaceString& operator=(const char* text)
    {
        assign(text);
        return *this;
    }
    InplaceString& operator=(const String& other)
    {
        assign(other.c_str(), other.length());
        return *this;
    }
    InplaceString& operator=(String&& other)
    {
        if (this != &other)
            moveFrom(other, N);
        return *this;
    }
    InplaceString& operator=(const InplaceString& other)
    {
        assign(other.c_str(), other.length());
        return *this;
    }
    InplaceString& operator=(InplaceString&& other) noexcept
    {
        if (this != &other)
            take(other);
        return *this;
    }

private:
    // Text that other holds inside itself fits here too, and longer text changes hands, so nothing
    // is allocated.
    void take(InplaceString& other) noexcept
    {
        // A move into a plain String may have left us with less room.
        if (!ownsHeap() || capacity() < N)
            useStorage(storage, N);
        const bool stolen = other.ownsHeap() && other.length() > N;
        moveFrom(other, N);
        if (stolen)
            other.useStorage(other.storage, N);
    }

    char storage[N + 1];
};

/// printf into a string; grows as far as the result needs. "" when the format is invalid.
ZUL_API InplaceString<256> str(const char* format, ...) ZUL_PRINTF_LIKE(1, 2);
ZUL_API InplaceString<256> strV(const char* format, va_list arguments);

} // namespace zu
