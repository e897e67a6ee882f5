#include "dm/console/Coloring.h"
#include "dm/console/KnownWords.h"
#include "dm/console/LineWrap.h"
#include "fuzz/Checks.h"

namespace fuzz {

namespace {

using namespace dm::console;

// Takes a part off the front of a text.
void take(std::string_view& text, std::string_view part)
{
    require(part == text.substr(0, part.size()));
    text.remove_prefix(part.size());
}

void checkWords(std::string_view text)
{
    dm::KnownWords known;
    known.add("set", false);
    ColoredLine line;
    colorLine(line, text, {{"e", "x"}}, known);
    dm::WordList words;
    dm::tokenizeLine(words, zu::String(text.data(), text.size()));
    auto word = words.begin();
    for (const ColoredLine::Run& run : line) {
        require(word != words.end() && !word->empty());
        require(word->view() == std::string_view(line.getText(run), run.length));
        take(text, (word++)->view());
    }
    require(text.empty() && word == words.end());
}

void checkRows(std::string_view text, size_t prefixLength, float width)
{
    std::string_view rest = text;
    LineWrap wrap(text, prefixLength, width);
    do {
        const std::string_view row = wrap.next();
        take(rest, row);
        require(!row.empty() || text.empty());
        require(row.size() <= 1 || textWidth(prefixLength + row.size()) < width + 0.0001f ||
                width <= textWidth(prefixLength + 2));
    } while (!wrap.isAtEnd());
    require(rest.empty());
}

} // namespace

void checkConsoleText(const std::uint8_t* data, size_t size)
{
    if (size < 2)
        return;
    const std::string_view text(reinterpret_cast<const char*>(data) + 2, size - 2);
    checkWords(text);
    checkRows(text, data[1] & 3, static_cast<float>(data[0]) / 256.0f);
}

} // namespace fuzz
