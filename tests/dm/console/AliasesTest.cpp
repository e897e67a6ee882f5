#include "dm/console/Aliases.h"

#include <gtest/gtest.h>
#include <string>

namespace {

class AliasesTest : public testing::Test
{
protected:
    void define(const std::string& name, const std::string& text)
    {
        aliases[zu::InplaceString<256>(name.c_str())] = text.c_str();
    }

    /// A chain of `length` aliases, p0 to the last; each text names the next one, put into
    /// `pattern` where '@' stands. The last says `end`.
    void chain(const std::string& p, int length, const std::string& pattern, const std::string& end)
    {
        for (int i = 0; i < length; ++i) {
            std::string text;
            for (const char character : pattern)
                text += character == '@' ? p + std::to_string(i + 1) : std::string(1, character);
            define(p + std::to_string(i), i + 1 < length ? text : end);
        }
    }

    dm::WordList resolve(const std::string& line) const
    {
        dm::WordList in;
        dm::WordList out;
        dm::tokenizeLine(in, zu::String(line.data(), line.size()));
        dm::resolveAliases(out, in, aliases);
        return out;
    }

    /// Word by word: "[a][ ][b]".
    std::string words(const std::string& line) const
    {
        std::string shown;
        for (const auto& word : resolve(line))
            shown += "[" + std::string(word.view()) + "]";
        return shown;
    }

    /// What the check says; "" if it lets the definition pass. It is entered first, as it is to be.
    std::string refusal(const std::string& name, const std::string& text)
    {
        define(name, text);
        try {
            dm::checkAliasValidity(aliases, zu::String(name.c_str()), zu::String(text.c_str()));
        } catch (const dm::ScrollingTextWindowException_IllegalAliasDefinition& error) {
            return error.getError();
        }
        return "";
    }

    dm::AliasMap aliases;
};

TEST_F(AliasesTest, ReplacesEachWordByTheWordsOfItsAlias)
{
    define("quit", "save all;leave");
    define("save", "write \"x y\"");
    define("nothing", "");
    define(";", ";;");
    define(" ", "_");
    define("\"q\"", "quoted");
    define("\xe4", "umlaut");
    const struct
    {
        const char* line;
        const char* expanded;
    } table[] = {
        {"other", "[other]"},
        {"QUIT", "[write][_][\"x y\"][_][all][;][;][leave]"},
        {"alias\tSAVE  x", "[alias][\t][write][_][\"x y\"][  ][x]"},
        {"nothing", ""},
        {"Nothing;nothing", "[;][;]"}, // a word within its own expansion stays
        {"\"Q\" \"q", "[quoted][_][\"][q]"},
        {"\xe4\xc4", "[\xe4\xc4]"},
        {"\xc4", "[\xc4]"}, // only ASCII letters have a case
        {"\xe4", "[umlaut]"},
    };
    for (const auto& [line, expanded] : table)
        EXPECT_EQ(words(line), expanded) << line;
}

TEST_F(AliasesTest, RefusesWhatUsesItselfOrAnAliasTwice)
{
    define("b", "1");
    define("c", "b");
    const struct
    {
        const char* name;
        const char* text;
        const char* again; // the word that the refusal names; null when it passes
    } table[] = {
        {"x", "", nullptr},        {"x", "b; y", nullptr},     {"x", "X y", "x"},
        {"x", "b;B", "b"},         {"x", "c b", "b"},          {"B", "c", "b"},
        {"100%s", "100", nullptr}, {"%n%s", "\"q\"", nullptr},
    };
    for (const auto& [name, text, again] : table) {
        const dm::AliasMap before = aliases;
        const std::string expected = again ? "ScrollingTextWindow: Resolving alias \"" +
                                                 std::string(again) +
                                                 "\" causes a loop - alias used inside alias"
                                           : "";
        EXPECT_EQ(refusal(name, text), expected) << name << " as " << text;
        aliases = before;
    }
    // Only what is in the map is seen.
    EXPECT_NO_THROW(dm::checkAliasValidity(aliases, "new", "new"));
    define("%s%n", "1");
    EXPECT_EQ(refusal("x", "\"%s\" %"), "");
    define("%", "%");
    EXPECT_NE(refusal("y", "%;%").find("alias \"%\" causes"), std::string::npos);
}

TEST_F(AliasesTest, ExpandsValidSetsWhole)
{
    // Long, deep, and used often in one line.
    chain("deep", 20'000, "@", "end");
    std::string text;
    while (text.size() <= dm::kMaxRepeatedAliasBytes)
        text += std::string(63, 'x') + ".";
    define("long", text);
    define("both", "deep0 long");
    EXPECT_EQ(refusal("both", "deep0 long"), "");
    EXPECT_EQ(words("deep0 deep0"), "[end][ ][end]");
    EXPECT_EQ(resolve("both both").size(), 2 * (2 + text.size() / 32) + 1);
    EXPECT_NE(refusal("deep19999", "deep0"), "");
}

TEST_F(AliasesTest, EndsSoonOnSetsThatNeverSawTheCheck)
{
    define("a", "b a c");
    define("b", "A;b");
    EXPECT_EQ(words("a"), "[A][;][b][ ][a][ ][c]");

    // Each doubles the text; the last may say nothing at all.
    chain("d", 200, "@ @", "x");
    chain("e", 200, "@@", "");
    chain("f", 200, "@;@;@", std::string(10'000, 'x'));
    for (const char* line : {"d0", "d0 d0 d0", "f0;f0"}) {
        size_t bytes = 0;
        for (const auto& word : resolve(line))
            bytes += word.length();
        EXPECT_LE(bytes, dm::kMaxRepeatedAliasBytes + 100'000) << line;
    }
    // Aliases of one punctuation mark each need nothing between them, and give nothing.
    const std::string marks = "!#$%&'()*,./:<=>?@[]^`{|}~\x80\x81\x82\x83\x84\x85\x86\x87";
    for (size_t i = 0; i < marks.size(); ++i)
        define(marks.substr(i, 1), i + 1 < marks.size() ? std::string(2, marks[i + 1]) : "");
    EXPECT_LE(resolve("!").size(), dm::kMaxRepeatedAliasBytes);

    // All name all, and a circle that is as long as the map is large.
    std::string all;
    for (int i = 0; i < 100; ++i)
        all += "g" + std::to_string(i) + " ";
    for (int i = 0; i < 100; ++i)
        define("g" + std::to_string(i), all);
    EXPECT_LE(resolve("g0").size(), dm::kMaxRepeatedAliasBytes + 100 * all.size());
    chain("h", 20'000, "@", "h0");
    EXPECT_EQ(words("h7"), "[h7]");
}

} // namespace
