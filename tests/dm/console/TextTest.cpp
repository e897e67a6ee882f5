/// What becomes of a text: words, colours, rows.
#include "ConsoleFixture.h"
#include "dm/console/Coloring.h"
#include "dm/console/LineWrap.h"
#include "support/Sanitized.h"

#include <cmath>
#include <tuple>

using namespace support;

namespace {

using Coloring = ConsoleFixture;

TEST_F(Coloring, FollowsTheWords)
{
    for (const char* alias : {"set", "both", "e"})
        window->accessAliasesMap()[alias] = "x";
    for (const char* word : {"god", "both", "fee", "\xe5l"})
        window->addKnownWord(word, false);

    // P plain, Q quoted, N number, K known word, . other, A alias
    const std::string cases[][3] = {
        {"", "", ""},
        {"set x=0.5;", "[set][ ][x][=][0][.][5][;]", "APP.NNN."},
        {"SET x= 0.5", "[SET][ ][x][=][ ][0.5]", "APP.PN"},
        {" \t\n\v\r a", "[ \t\n\v\r ][a]", "PP"},
        {std::string("a\0 b", 4), std::string("[a][\0 ][b]", 10), "PPP"},
        {"\f\f", "[\f][\f]", ".."},
        {"5; 12ab 12 .5", "[5][;][ ][12ab][ ][12][ ][.][5]", "N.PPPNPNN"},
        {"-5 -5; - -x", "[-5][ ][-][5][;][ ][-][ ][-][x]", "NP.N.P.P.P"},
        {"+.e -fee --1", "[+.e][ ][-fee][ ][-][-1]", "NPNP.N"},
        {"1e-5 1e5 1.5f .5", "[1e][-5][ ][1e5][ ][1.5f][ ][.][5]", "NNPNPNPNN"},
        {"0x1f 0x1F 0XFf", "[0x1f][ ][0x1F][ ][0XFf]", "NPPPP"},
        {"0x 0xx1 ab0 0x1;", "[0x][ ][0xx1][ ][ab0][ ][0x1][;]", "PPNPPPN."},
        {"\"a ;b\"c", "[\"a ;b\"][c]", "QP"},
        {"\"abc", "[\"][abc]", ".P"},
        {"a_1\xc4\xe5\xf6 \xdc\xe8", "[a_1\xc4\xe5\xf6][ ][\xdc][\xe8]", "PP.."},
        {"God gods both", "[God][ ][gods][ ][both]", "KPPPA"},
        {"\xe5L \xc5l", "[\xe5L][ ][\xc5l]", "KPP"},
        {"e fee e2 feed face", "[e][ ][fee][ ][e2][ ][feed][ ][face]", "NPNPNPPPP"},
    };
    for (const auto& [text, expectedWords, expectedColors] : cases) {
        std::string words;
        std::string colors;
        for (const auto& [color, word] : Access::color(*window, {text.data(), text.size()}).runs) {
            words += "[" + std::string(word.view()) + "]";
            for (size_t role = 0; role < dm::console::kPalette.size(); ++role)
                if (color == dm::console::kPalette[role])
                    colors += "PQNK.A"[role];
        }
        EXPECT_EQ(words, expectedWords);
        EXPECT_EQ(colors, expectedColors) << text;
    }
    const zu::String text = "1 ";
    for (const int outside : {-1, 2, 9})
        EXPECT_EQ(dm::scanInteger(text, outside), -1);
}

TEST(Tokenizer, TakesTimeInProportionToTheText)
{
    // Each of these looks at every character to the end from every place, if nobody takes care.
    for (const char* part : {"1.", "+1.", "\"", "0x."}) {
        std::string text;
        while (text.size() < (kSanitized ? 100'000 : 1'000'000))
            text += part;
        text += ';';
        dm::console::WordCutter cutter(text);
        for (std::string_view word; cutter.next(word);)
            EXPECT_FALSE(word.empty());
    }
}

Texts wrap(std::string_view line, size_t prefixLength, float width)
{
    Texts rows;
    dm::console::LineWrap wrap(line, prefixLength, width);
    do
        rows.emplace_back(wrap.next());
    while (!wrap.isAtEnd() && rows.size() <= line.size());
    return rows;
}

TEST(LineWrap, BreaksBetweenWordsAndWordsThatAreTooWide)
{
    const auto x = [](size_t length) { return std::string(length, 'x'); };
    const std::tuple<std::string, size_t, float, Texts> cases[] = {
        {"", 1, 1, {""}},
        {" ", 1, 1, {" "}},
        {"one two three", 0, 0.085f, {"one two ", "three"}},
        {"one two three", 0, 0.075f, {"one two", " three"}},
        {"one two three", 1, 0.085f, {"one two", " three"}},
        {"abcdefghij x", 0, 0.045f, {"abcd", "efgh", "ij x"}},
        {"ab cdefghij", 0, 0.045f, {"ab ", "cdef", "ghij"}},
        {"abcdefg", 0, 0.06f, {"abcdef", "g"}},
        {"abc", 0, 0.01f, {"a", "b", "c"}},
        {"ab", 5, 0.02f, {"a", "b"}},
        {"ab", 1, -3, {"a", "b"}},
        {"ab c", 1, NAN, {"ab c"}},
        {"ab c", 1, INFINITY, {"ab c"}},
        {x(150), 1, 0.505f, {x(49), x(49), x(49), x(3)}},
        {x(100), 0, 1 - 0.003125f, {x(99), x(1)}},
        {x(100), 1, 1 - 2 * 0.05f - 0.003125f, {x(88), x(12)}}};
    for (const auto& [line, prefix, width, rows] : cases)
        EXPECT_EQ(wrap(line, prefix, width), rows) << line << ", " << width;

    for (int thousandths = 0; thousandths < 300; ++thousandths) {
        for (size_t length = 1; length < 60; length += 2) {
            std::string joined;
            for (const auto& row : wrap(x(length), length / 2 % 2, float(thousandths) / 1000))
                joined += row;
            ASSERT_EQ(joined, x(length)) << thousandths;
        }
    }
}

} // namespace
