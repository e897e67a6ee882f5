#include <zul/Exception.h>

namespace zu {

// Defined here so that programs and this library share one type to catch by.
Exception::~Exception() = default;
StreamException::~StreamException() = default;

void Exception::setError(const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    errorText = strV(format, arguments);
    va_end(arguments);
}

} // namespace zu
