#include "dm/console/Tokenizer.h"

#include <dm/console.h>

#include <gtest/gtest.h>
#include <string>

namespace {

std::string cut(const std::string& text)
{
    dm::WordList words;
    words.emplace_back("before"); // stays
    dm::tokenizeLine(words, zu::String(text.data(), text.size()));
    std::string joined;
    for (size_t i = 1; i < words.size(); ++i)
        joined += "[" + std::string(words[i].view()) + "]";
    return joined;
}

TEST(Tokenizer, CutsTextIntoWords)
{
    const std::pair<std::string, std::string> cases[] = {
        {"", ""},
        {"set x=0.5;", "[set][ ][x][=][0][.][5][;]"},
        {"set x= 0.5", "[set][ ][x][=][ ][0.5]"},
        {" \t\n\v\r a", "[ \t\n\v\r ][a]"},
        {std::string("a\0 b", 4), std::string("[a][\0 ][b]", 10)},
        {"\f\f", "[\f][\f]"},
        {"5; 12ab 12 .5", "[5][;][ ][12ab][ ][12][ ][.][5]"},
        {"-5 -5; - -x +.e -fee --1", "[-5][ ][-][5][;][ ][-][ ][-][x][ ][+.e][ ][-fee][ ][-][-1]"},
        {"1e-5 1e5 1.5f .5", "[1e][-5][ ][1e5][ ][1.5f][ ][.][5]"},
        {"0x1f 0x1F 0XFf", "[0x1f][ ][0x1F][ ][0XFf]"},
        {"0x 0xx1 ab0 0x1;", "[0x][ ][0xx1][ ][ab0][ ][0x1][;]"},
        {"\"a ;b\"c", "[\"a ;b\"][c]"},
        {"\"abc", "[\"][abc]"},
        {"a_1\xc4\xe5\xf6 \xdc\xe8", "[a_1\xc4\xe5\xf6][ ][\xdc][\xe8]"},
    };
    for (const auto& [text, words] : cases)
        EXPECT_EQ(cut(text), words);
}

TEST(Tokenizer, ScannersMeasureWhatStandsAtAPlace)
{
    const struct
    {
        int (*scan)(const zu::String&, int);
        const char* text;
        int position;
        int length;
    } cases[] = {
        {dm::scanWhitespace, " \t a", 1, 2}, {dm::scanWhitespace, "a ", 0, -1},
        {dm::scanWhitespace, " ", 1, -1},    {dm::scanWhitespace, " ", -1, -1},
        {dm::scanIdentifier, "1a_;", 0, 3},  {dm::scanIdentifier, ";", 0, -1},
        {dm::scanInteger, "+12 ", 0, 3},     {dm::scanInteger, "12;", 0, -1},
        {dm::scanInteger, "+", 0, -1},       {dm::scanInteger, "", 0, -1},
        {dm::scanInteger, "1 ", 1, -1},      {dm::scanFloat, ".", 0, 1},
        {dm::scanFloat, "-f\n", 0, 2},       {dm::scanFloat, "1E5F", 0, 4},
        {dm::scanFloat, "1.0x", 0, -1},      {dm::scanFloat, " ", 0, -1},
        {dm::scanHex, "0x", 0, -1},          {dm::scanHex, "a 0x", 2, 2},
        {dm::scanHex, "0x 5", 0, 2},         {dm::scanHex, "0Xa9xX", 0, 6},
        {dm::scanHex, "0xA", 0, -1},         {dm::scanHex, "ab0", 2, -1},
        {dm::scanHex, "0x1", 9, -1},         {dm::scanQuoted, "\"\"", 0, 2},
        {dm::scanQuoted, "\"a\"b", 2, -1},   {dm::scanQuoted, "", 0, -1},
    };
    for (const auto& c : cases)
        EXPECT_EQ(c.scan(c.text, c.position), c.length) << c.text << " at " << c.position;
}

TEST(Tokenizer, TakesTimeInProportionToTheText)
{
    // Each of these looks at every character to the end from every place, if nobody takes care.
    for (const char* part : {"1.", "+1.", "\"", "0x.", "1e"}) {
        std::string text;
        while (text.size() < 1'000'000)
            text += part;
        text += ';';
        size_t words = 0;
        dm::console::WordCutter cutter(text);
        for (std::string_view word; cutter.next(word);)
            ++words;
        EXPECT_GT(words, 1u);
    }
}

} // namespace
