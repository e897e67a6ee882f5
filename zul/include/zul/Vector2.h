/// A point or extent in two dimensions.
#pragma once

namespace m {

template <typename T>
struct Vector2Template
{
    T x{};
    T y{};

    constexpr Vector2Template() = default;
    constexpr Vector2Template(T xValue, T yValue)
        : x(xValue)
        , y(yValue)
    {
    }

    constexpr bool operator==(const Vector2Template&) const = default;
};

} // namespace m
