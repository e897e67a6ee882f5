#include "tools/sandbox/Font.h"

#include <SDL_ttf.h>
#include <algorithm>
#include <cmath>
#include <filesystem>
#include <vector>

namespace sandbox {

namespace {

constexpr int kColumns = 16;
constexpr int kGlyphs = 256;
constexpr const char* kFileName = "DejaVuSansMono.ttf";
constexpr Uint32 kBox = 0x25A1;

struct FontDeleter
{
    void operator()(TTF_Font* font) const { TTF_CloseFont(font); }
};
using FontPointer = std::unique_ptr<TTF_Font, FontDeleter>;

/// The character's place in Unicode, whose first 256 are Latin-1; 0 for what is not to be seen.
Uint32 toUnicode(int character)
{
    if (character == ' ' || character == 0xA0 || character == 0xAD ||
        (character >= '\t' && character <= '\r') || character == 0)
        return 0;
    const bool isControl = character < ' ' || (character >= 0x7F && character < 0xA0);
    return isControl ? kBox : static_cast<Uint32>(character);
}

FontPointer open(const std::string& file, int size)
{
    FontPointer font(TTF_OpenFont(file.c_str(), size));
    if (!font)
        throw SdlError("cannot use the font " + file + ": " + TTF_GetError());
    TTF_SetFontHinting(font.get(), TTF_HINTING_LIGHT);
    return font;
}

/// The size at which characters are as wide as the cell. Measured at a size where rounding to whole
/// pixels does not matter.
int sizeFor(const std::string& file, float cellWidth)
{
    constexpr int kLarge = 1000;
    int advance = 0;
    TTF_GlyphMetrics32(open(file, kLarge).get(), 'M', nullptr, nullptr, nullptr, nullptr, &advance);
    const float size = cellWidth * kLarge / static_cast<float>(std::max(advance, 1));
    return std::max(4, static_cast<int>(std::lround(size)));
}

} // namespace

Font::Font(SDL_Renderer* target, const std::string& file, float cellWidth)
    : renderer(target)
{
    const FontPointer font = open(file, sizeFor(file, cellWidth));
    lineSkip = TTF_FontLineSkip(font.get());
    glyphWidth = static_cast<int>(std::ceil(cellWidth)) + 2; // what leans out of its cell
    std::vector<SdlPointer<SDL_Surface>> pictures(kGlyphs);
    for (int character = 0; character < kGlyphs; ++character) {
        const Uint32 unicode = toUnicode(character);
        if (unicode == 0)
            continue;
        SdlPointer<SDL_Surface>& picture = pictures[static_cast<size_t>(character)];
        picture.reset(TTF_RenderGlyph32_Blended(font.get(), unicode, {255, 255, 255, 255}));
        // Rounded to pixels some reach lower than the font says, small underscores do.
        glyphHeight = std::max(glyphHeight, picture ? picture->h : 0);
    }
    const auto sheet = owned(SDL_CreateRGBSurfaceWithFormat(0, glyphWidth * kColumns,
                                                            glyphHeight * kGlyphs / kColumns, 32,
                                                            SDL_PIXELFORMAT_RGBA32),
                             "a surface for the font");
    for (int character = 0; character < kGlyphs; ++character) {
        SDL_Surface* const picture = pictures[static_cast<size_t>(character)].get();
        if (!picture)
            continue;
        SDL_SetSurfaceBlendMode(picture, SDL_BLENDMODE_NONE);
        const SDL_Rect from{0, 0, glyphWidth, glyphHeight};
        SDL_Rect to{character % kColumns * glyphWidth, character / kColumns * glyphHeight, 0, 0};
        SDL_BlitSurface(picture, &from, sheet.get(), &to);
    }
    glyphs = owned(SDL_CreateTextureFromSurface(renderer, sheet.get()), "a texture for the font");
    SDL_SetTextureBlendMode(glyphs.get(), SDL_BLENDMODE_BLEND);
}

void Font::draw(unsigned char character, int x, int y) const
{
    if (toUnicode(character) == 0)
        return;
    const SDL_Rect from{character % kColumns * glyphWidth, character / kColumns * glyphHeight,
                        glyphWidth, glyphHeight};
    const SDL_Rect to{x, y, glyphWidth, glyphHeight};
    SDL_RenderCopy(renderer, glyphs.get(), &from, &to);
}

void Font::setColor(SDL_Color color) const
{
    SDL_SetTextureColorMod(glyphs.get(), color.r, color.g, color.b);
    SDL_SetTextureAlphaMod(glyphs.get(), color.a);
}

std::string Font::findFile(const std::string& wanted)
{
    namespace fs = std::filesystem;
    std::error_code ignored;
    if (!wanted.empty()) {
        if (!fs::is_regular_file(wanted, ignored))
            throw SdlError("there is no font file " + wanted);
        return wanted;
    }
    std::vector<fs::path> folders;
    if (char* const base = SDL_GetBasePath()) {
        folders.emplace_back(base);
        SDL_free(base);
    }
    for (const char* const folder :
         {"/usr/share/fonts/truetype/dejavu", "/usr/share/fonts/dejavu-sans-mono-fonts",
          "/usr/share/fonts/dejavu", "/usr/share/fonts/TTF", "/usr/local/share/fonts/dejavu",
          "/Library/Fonts", "C:/Windows/Fonts"})
        folders.emplace_back(folder);
    for (const fs::path& folder : folders) {
        if (fs::is_regular_file(folder / kFileName, ignored))
            return (folder / kFileName).string();
    }
    throw SdlError(std::string("cannot find ") + kFileName +
                   ": install it (Debian: fonts-dejavu-core), or name a monospaced font with "
                   "--font FILE");
}

} // namespace sandbox
