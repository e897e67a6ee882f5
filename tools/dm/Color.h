#pragma once

#include <zul/Terminal.h>

#include <string>

namespace tool {

enum class Color : int
{
    None = 0,
    Red = 31,
    Green = 32,
    Yellow = 33,
    Blue = 34,
    Magenta = 35,
    Cyan = 36,
};

/// Whether what is written to the stream may have colours: on a terminal, unless the person has set
/// NO_COLOR to anything or the terminal is one that has none.
bool hasColors(zu::StandardStream stream);

/// The text, in the colour if `isColored`.
std::string inColor(const std::string& text, Color color, bool isColored);

} // namespace tool
