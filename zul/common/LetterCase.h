// Letter case as the runtime sees it: that of ASCII letters alone, whatever the locale.
#pragma once

namespace zu {

// The byte, unsigned, with a capital letter as its small one.
constexpr int foldCase(char character)
{
    const auto byte = static_cast<unsigned char>(character);
    return byte >= 'A' && byte <= 'Z' ? byte + ('a' - 'A') : byte;
}

} // namespace zu
