/// A colour of four bytes: red, green, blue and opacity.
#pragma once

#include <zul/Types.h>

#include <cassert>

namespace g {

struct Color
{
    zu::u8 r = 0;
    zu::u8 g = 0;
    zu::u8 b = 0;
    zu::u8 a = 255;

    /// Opaque black.
    constexpr Color() = default;
    /// Each from 0 to 255.
    constexpr Color(int red, int green, int blue, int alpha = 255)
        : r(component(red))
        , g(component(green))
        , b(component(blue))
        , a(component(alpha))
    {
    }

    constexpr bool operator==(const Color&) const = default;

    static const Color White;

private:
    static constexpr zu::u8 component(int value)
    {
        assert(value >= 0 && value <= 255);
        return static_cast<zu::u8>(value);
    }
};

inline constexpr Color Color::White(255, 255, 255);

static_assert(sizeof(Color) == 4);

} // namespace g
