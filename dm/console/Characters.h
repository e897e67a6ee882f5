/// What the bytes of console text are: Latin-1, decided byte by byte and whatever the locale.
#pragma once

#include <array>

namespace dm::console {

namespace detail {

enum CharacterClass : unsigned char
{
    kWhitespace = 1,
    kLetter = 2,
    kDigit = 4,
    kFloatCharacter = 8, ///< may stand in a number with a fraction: digits, '.', 'e' and 'f'
    kHexCharacter = 16,  ///< may stand behind "0x": digits, lower-case 'a' to 'f', 'x' and 'X'
};

constexpr std::array<unsigned char, 256> makeCharacterClasses()
{
    std::array<unsigned char, 256> classes{};
    const auto add = [&classes](const char* characters, int characterClass) {
        for (; *characters != '\0'; ++characters) {
            unsigned char& entry = classes[static_cast<unsigned char>(*characters)];
            entry = static_cast<unsigned char>(entry | characterClass);
        }
    };
    // Not the form feed, which is a word of its own; but zero bytes, which text may hold.
    add("\t\n\v\r ", kWhitespace);
    classes[0] = kWhitespace;
    add("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz_", kLetter);
    add("\xc4\xc5\xd6\xe4\xe5\xf6", kLetter); // the Swedish ones
    add("0123456789", kDigit | kFloatCharacter | kHexCharacter);
    add(".eEfF", kFloatCharacter);
    add("abcdefxX", kHexCharacter);
    return classes;
}

inline constexpr std::array<unsigned char, 256> kCharacterClasses = makeCharacterClasses();

constexpr bool isOf(char character, int characterClasses)
{
    return (kCharacterClasses[static_cast<unsigned char>(character)] & characterClasses) != 0;
}

} // namespace detail

constexpr bool isWhitespace(char character) { return detail::isOf(character, detail::kWhitespace); }
constexpr bool isDigit(char character) { return detail::isOf(character, detail::kDigit); }
constexpr bool isIdentifierCharacter(char character)
{
    return detail::isOf(character, detail::kLetter | detail::kDigit);
}
constexpr bool isFloatCharacter(char character)
{
    return detail::isOf(character, detail::kFloatCharacter);
}
constexpr bool isHexCharacter(char character)
{
    return detail::isOf(character, detail::kHexCharacter);
}
constexpr bool isSign(char character) { return character == '+' || character == '-'; }

} // namespace dm::console
