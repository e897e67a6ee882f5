/// What the runtime throws.
///
///     zu::Exception error;
///     error.setError("cannot open %s: %s", path, reason);
///     throw error;
#pragma once

#include <zul/InplaceString.h>
#include <zul/export.h>

#include <exception>

namespace zu {

/// Base of all exceptions of the library.
class ZUL_API Exception : public std::exception
{
public:
    Exception() = default;
    /// `error` is the text as it is, not a format.
    explicit Exception(const char* error)
        : errorText(error)
    {
    }
    Exception(const Exception&) = default;
    Exception& operator=(const Exception&) = default;
    ~Exception() override;

    void setError(const char* format, ...) ZUL_PRINTF_LIKE(2, 3);
    /// "" until set. Valid as long as the exception, until the next setError.
    const char* getError() const { return errorText.c_str(); }
    const char* what() const noexcept override { return errorText.c_str(); }

private:
    InplaceString<256> errorText;
};

/// A stream was read past its end, or holds something that cannot be right.
class ZUL_API StreamException : public Exception
{
public:
    using Exception::Exception;
    ~StreamException() override;
};

} // namespace zu
