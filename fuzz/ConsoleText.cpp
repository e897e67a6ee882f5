#include "fuzz/ConsoleText.h"

#include "dm/console/Coloring.h"
#include "dm/console/KnownWords.h"
#include "dm/console/LineWrap.h"

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <string_view>

namespace fuzz {

namespace {

using namespace dm::console;

void require(bool holds)
{
    if (!holds)
        std::abort();
}

// Takes the parts of a text in order.
class Joined
{
public:
    explicit Joined(std::string_view whole)
        : text(whole)
    {
    }
    void add(std::string_view part)
    {
        require(part == text.substr(position, part.size()));
        position += part.size();
    }
    bool isWhole() const { return position == text.size(); }

private:
    const std::string_view text;
    size_t position = 0;
};

void checkWords(std::string_view text)
{
    Joined words(text);
    Joined runs(text);
    ColoredLine line;
    dm::AliasMap aliases;
    aliases["e"] = "x";
    dm::KnownWords known;
    known.add("set", false);
    colorLine(line, text, aliases, known);
    auto run = line.begin();
    WordCutter cutter(text);
    for (std::string_view word; cutter.next(word); ++run) {
        require(!word.empty() && run != line.end());
        words.add(word);
        runs.add({line.getText(*run), run->length});
        require(line.getText(*run)[run->length] == '\0');
    }
    require(words.isWhole() && runs.isWhole() && run == line.end());

    dm::WordList list;
    dm::tokenizeLine(list, zu::String(text.data(), text.size()));
    require(list.size() == static_cast<size_t>(std::distance(line.begin(), line.end())));
}

void checkRows(std::string_view text, size_t prefixLength, float width)
{
    Joined rows(text);
    LineWrap wrap(text, prefixLength, width);
    do {
        const std::string_view row = wrap.next();
        rows.add(row);
        require(!row.empty() || text.empty());
        require(row.size() <= 1 || textWidth(prefixLength + row.size()) < width + 0.0001f ||
                width <= textWidth(prefixLength + 2));
    } while (!wrap.isAtEnd());
    require(rows.isWhole());
}

} // namespace

void checkConsoleText(const std::uint8_t* data, size_t size)
{
    if (size < 2)
        return;
    // On the heap and of their own size, so that a sanitizer sees what is read beyond them.
    const std::unique_ptr<char[]> bytes(new char[size - 2]);
    std::copy_n(data + 2, size - 2, bytes.get());
    const std::string_view text(bytes.get(), size - 2);
    checkWords(text);
    for (int position = -1; position <= static_cast<int>(std::min<size_t>(text.size(), 8));
         ++position) {
        const zu::String line(text.data(), text.size());
        for (const auto scan : {dm::scanWhitespace, dm::scanIdentifier, dm::scanInteger,
                                dm::scanFloat, dm::scanHex, dm::scanQuoted})
        {
            const int length = scan(line, position);
            require(length == -1 || (length > 0 && position + length <= int(text.size())));
        }
    }
    checkRows(text, data[1] & 3, static_cast<float>(data[0]) / 256.0f);
}

} // namespace fuzz
