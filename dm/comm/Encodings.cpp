// Binary data as text, and text escaped for URLs.

#include <dm/comm.h>

#include <array>
#include <cstring>

namespace {

constexpr char kLowerDigits[] = "0123456789abcdef";
constexpr char kUpperDigits[] = "0123456789ABCDEF";

// The pairs for 0 to 255 in order.
constexpr auto kHexPairs = [] {
    std::array<char, 512> pairs{};
    for (size_t value = 0; value < 256; ++value) {
        pairs[2 * value] = kLowerDigits[value / 16];
        pairs[2 * value + 1] = kLowerDigits[value % 16];
    }
    return pairs;
}();

constexpr unsigned kNotADigit = 255;

unsigned digitValue(char digit)
{
    if (digit >= '0' && digit <= '9')
        return static_cast<unsigned>(digit - '0');
    if (digit >= 'a' && digit <= 'f')
        return static_cast<unsigned>(digit - 'a') + 10;
    if (digit >= 'A' && digit <= 'F')
        return static_cast<unsigned>(digit - 'A') + 10;
    return kNotADigit;
}

// Not isalnum: that asks the locale.
bool passesUrl(char character)
{
    return (character >= '0' && character <= '9') || (character >= 'A' && character <= 'Z') ||
           (character >= 'a' && character <= 'z') ||
           (character != '\0' && std::strchr("$-_.+!*'(),", character) != nullptr);
}

} // namespace

namespace dm {

void binaryDataToString(const uint8* data, size_t size, zu::String& out)
{
    out.resize(2 * size);
    for (size_t index = 0; index < size; ++index) {
        out[2 * index] = kHexPairs[2 * size_t{data[index]}];
        out[2 * index + 1] = kHexPairs[2 * size_t{data[index]} + 1];
    }
}

void stringToBinaryData(const zu::String& in, zu::Vector<char>& out)
{
    const size_t count = in.length() / 2;
    if (out.capacity() < count)
        out.reserve(count);
    out.resize(count);
    for (size_t index = 0; index < count; ++index) {
        // Modulo 256, so that a wrong digit spoils its own byte in a known way and no other.
        const unsigned value = digitValue(in[2 * index]) * 16 + digitValue(in[2 * index + 1]);
        out[index] = static_cast<char>(static_cast<uint8>(value & 0xFF));
    }
}

} // namespace dm

namespace net {

zu::InplaceString<256> urlEncodeString(zu::InplaceString<128> in)
{
    zu::InplaceString<256> result;
    for (size_t index = 0; index < in.length(); ++index) {
        const char character = in[index];
        if (passesUrl(character)) {
            result.append(character);
            continue;
        }
        const auto byte = static_cast<dm::uint8>(character);
        result.append('%');
        result.append(kUpperDigits[byte / 16]);
        result.append(kUpperDigits[byte % 16]);
    }
    return result;
}

zu::InplaceString<256> urlDecodeString(zu::InplaceString<128> in)
{
    const auto distance = [](char digit) {
        return static_cast<dm::uint8>(static_cast<dm::uint8>(digit) - '0');
    };
    zu::InplaceString<256> result;
    for (size_t index = 0; index < in.length(); ++index) {
        if (in[index] != '%') {
            result.append(in[index]);
            continue;
        }
        // Up to two digits; at the very end there is none, and the value stays 0.
        dm::uint8 value = 0;
        if (index + 1 < in.length())
            value = distance(in[++index]);
        if (index + 1 < in.length())
            value = static_cast<dm::uint8>((value << 4) | distance(in[++index]));
        result.append(static_cast<char>(value));
    }
    return result;
}

} // namespace net
