#include "tools/dm/Color.h"

#include <cstdlib>
#include <cstring>

namespace tool {

bool hasColors(zu::StandardStream stream)
{
    const char* const refused = std::getenv("NO_COLOR");
    const char* const terminal = std::getenv("TERM");
    const bool isRefused = refused != nullptr && *refused != '\0';
    const bool isPlain = terminal == nullptr || std::strcmp(terminal, "dumb") == 0;
    return !isRefused && !isPlain && zu::isTerminal(stream);
}

std::string inColor(const std::string& text, Color color, bool isColored)
{
    if (!isColored || color == Color::None)
        return text;
    return "\x1b[" + std::to_string(static_cast<int>(color)) + "m" + text + "\x1b[0m";
}

} // namespace tool
