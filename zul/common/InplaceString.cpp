#include <zul/InplaceString.h>

#include <cstdio>

namespace zu {

InplaceString<256> strV(const char* format, va_list arguments)
{
    va_list again;
    va_copy(again, arguments);
    char fitting[257];
    InplaceString<256> result;
    const int length = std::vsnprintf(fitting, sizeof fitting, format, arguments);
    if (length >= 0 && static_cast<size_t>(length) < sizeof fitting) {
        result.assign(fitting, static_cast<size_t>(length));
    } else if (length > 0) {
        result.resize(static_cast<size_t>(length));
        std::vsnprintf(result.data(), result.length() + 1, format, again);
    }
    va_end(again);
    return result;
}

InplaceString<256> str(const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    InplaceString<256> result = strV(format, arguments);
    va_end(arguments);
    return result;
}

} // namespace zu
