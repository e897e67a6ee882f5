#pragma once

#include "tools/sandbox/Sdl.h"

#include <string>

namespace sandbox {

/// A monospaced font at one size, its Latin-1 characters in one texture.
///
/// Throws SdlError when the file cannot be read as a font.
class Font
{
public:
    /// The font is as large as fits characters of `cellWidth` pixels.
    Font(SDL_Renderer* target, const std::string& file, float cellWidth);

    int lineHeight() const { return lineSkip; }

    /// `x` and `y` are the top left corner of the character's cell. Control characters but white
    /// space are drawn as a box.
    void draw(unsigned char character, int x, int y) const;

    void setColor(SDL_Color color) const;

    /// The file of a font by its full path: the given one, or where systems keep DejaVu Sans Mono.
    static std::string findFile(const std::string& wanted);

private:
    SDL_Renderer* renderer;
    SdlPointer<SDL_Texture> glyphs;
    int glyphWidth = 0;
    int glyphHeight = 0;
    int lineSkip = 0;
};

} // namespace sandbox
