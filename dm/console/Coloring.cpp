#include "dm/console/Coloring.h"

#include "dm/console/Aliases.h"
#include "dm/console/Characters.h"
#include "dm/console/KnownWords.h"
#include "dm/console/Tokenizer.h"

namespace dm::console {

static bool isNumber(std::string_view word)
{
    // Most words need not be scanned to see that they are none.
    if (!isFloatCharacter(word[0]) && !isSign(word[0]))
        return false;
    return scanInteger(word, 0) >= 0 || scanFloat(word, 0) >= 0 || scanHex(word, 0) >= 0;
}

ColorRole roleOf(std::string_view word, const AliasMap& aliases, const KnownWords& knownWords)
{
    if (isWhitespace(word[0]))
        return ColorRole::Plain;
    if (isNumber(word))
        return ColorRole::Number;
    if (scanQuoted(word, 0) >= 0)
        return ColorRole::Quoted;
    if (!isIdentifierCharacter(word[0]))
        return ColorRole::Other;
    if (!aliases.empty() && findAlias(aliases, word) != aliases.end())
        return ColorRole::Alias;
    if (knownWords.contains(word))
        return ColorRole::KnownWord;
    return ColorRole::Plain;
}

void colorLine(ColoredLine& out, std::string_view line, const AliasMap& aliases,
               const KnownWords& knownWords)
{
    out.clear();
    WordCutter words(line);
    for (std::string_view word; words.next(word);)
        out.add(kPalette[static_cast<size_t>(roleOf(word, aliases, knownWords))], word);
}

} // namespace dm::console
