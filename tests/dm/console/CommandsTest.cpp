/// What becomes of a command line: its aliases replaced, its commands taken apart.
#include "dm/console/Aliases.h"
#include "dm/console/CommandSplit.h"

#include <gtest/gtest.h>

namespace {

dm::WordList cut(const std::string& line)
{
    dm::WordList words;
    dm::tokenizeLine(words, zu::String(line.data(), line.size()));
    return words;
}

class Aliases : public testing::Test
{
protected:
    void define(const std::string& name, const std::string& text)
    {
        aliases[zu::InplaceString<256>(name.c_str())] = text.c_str();
    }

    /// Aliases p0 to the last; each text names the next one so many `times`.
    void chain(const std::string& p, int length, int times, const std::string& end)
    {
        for (int i = 0; i < length; ++i) {
            std::string text;
            for (int time = 0; time < times; ++time)
                text += (time == 0 ? "" : ";") + p + std::to_string(i + 1);
            define(p + std::to_string(i), i + 1 < length ? text : end);
        }
    }

    /// Word by word: "[a][ ][b]".
    std::string words(const std::string& line) const
    {
        dm::WordList out;
        dm::resolveAliases(out, cut(line), aliases);
        std::string shown;
        for (const auto& word : out)
            shown += "[" + std::string(word.view()) + "]";
        return shown;
    }

    /// What the check says; "" if it lets the definition pass. It is entered first, as it is to be.
    std::string refusal(const std::string& name, const std::string& text)
    {
        const dm::AliasMap before = aliases;
        define(name, text);
        std::string error;
        try {
            dm::checkAliasValidity(aliases, zu::String(name.c_str()), zu::String(text.c_str()));
        } catch (const dm::ScrollingTextWindowException_IllegalAliasDefinition& refused) {
            error = refused.getError();
        }
        aliases = before;
        return error;
    }

    dm::AliasMap aliases;
};

TEST_F(Aliases, AreReplacedByTheirWords)
{
    for (const auto& [name, text] : {std::pair("quit", "save all;leave"),
                                     {"save", "write \"x y\""},
                                     {"nothing", ""},
                                     {";", ";;"},
                                     {" ", "_"},
                                     {"\"q\"", "quoted"},
                                     {"\xe4", "umlaut"},
                                     {"a", "b a c"},
                                     {"b", "A;b"}})
        define(name, text);
    const char* const table[][2] = {
        {"other", "[other]"},
        {"QUIT", "[write][_][\"x y\"][_][all][;][;][leave]"},
        {"alias\tSAVE  x", "[alias][\t][write][_][\"x y\"][  ][x]"},
        {"nothing", ""},
        {"Nothing;nothing", "[;][;]"}, // a word within its own expansion stays
        {"a", "[A][;][;][b][_][a][_][c]"},
        {"\"Q\" \"q", "[quoted][_][\"][q]"},
        {"\xc4 \xe4", "[\xc4][_][umlaut]"}, // only ASCII letters have a case
    };
    for (const auto& [line, expanded] : table)
        EXPECT_EQ(words(line), expanded) << line;
}

TEST_F(Aliases, AreRefusedWhenTheyUseThemselvesOrAnotherTwice)
{
    for (const auto& [name, text] : {std::pair("b", "1"), {"c", "b"}, {"%", "%"}})
        define(name, text);
    // With the word that the refusal names; null when it passes.
    const char* const table[][3] = {
        {"x", "", nullptr}, {"x", "b; y", nullptr}, {"x", "X y", "x"}, {"x", "b;B", "b"},
        {"x", "c b", "b"},  {"B", "c", "b"},        {"y", "%;%", "%"}, {"%n", "100", nullptr},
    };
    for (const auto& [name, text, again] : table) {
        const std::string expected = again ? "ScrollingTextWindow: Resolving alias \"" +
                                                 std::string(again) +
                                                 "\" causes a loop - alias used inside alias"
                                           : "";
        EXPECT_EQ(refusal(name, text), expected) << name << " as " << text;
    }
    EXPECT_NO_THROW(dm::checkAliasValidity(aliases, "new", "new")) << "sees what is in the map";
}

TEST_F(Aliases, AreExpandedWholeWhenValidAndNotForLongOtherwise)
{
    // Long, deep, and used often in one line.
    chain("deep", 20'000, 1, "end");
    define("long", std::string(dm::kMaxRepeatedAliasBytes, 'x') + ".y");
    EXPECT_EQ(refusal("both", "deep0 long"), "");
    EXPECT_NE(refusal("deep19999", "deep0"), "");
    EXPECT_EQ(words("deep0 deep0"), "[end][ ][end]");
    EXPECT_EQ(words("long deep0 long").size(), 2 * dm::kMaxRepeatedAliasBytes + 27);
    define("deep19999", "deep19998");
    EXPECT_EQ(words("deep19998"), "[deep19998]");

    // Each doubles the text; the last may say nothing at all.
    chain("d", 200, 2, "x");
    const std::string marks = "!#$%&'()*,./:<=>?@[]^`{|}~\x80\x81\x82\x83\x84\x85\x86\x87";
    for (size_t i = 0; i < marks.size(); ++i)
        define(marks.substr(i, 1), i + 1 < marks.size() ? std::string(2, marks[i + 1]) : "");
    for (const char* line : {"d0 d0 d0", "!"})
        EXPECT_LE(words(line).size(), 16 * dm::kMaxRepeatedAliasBytes) << line;
}

TEST(CommandSplit, EndsEachCommandWithItsSemicolon)
{
    // Not split when the very first word says so.
    const char* const table[][2] = {{"", ""},
                                    {"   ", ""},
                                    {"a;b;", "{a;}{b;}"},
                                    {"  a ;\t b", "{a ;}{b;}"},
                                    {"a;;b", "{a;}{;}{b;}"},
                                    {"a ; ", "{a ;}"},
                                    {"\"a;b\";c", "{\"a;b\";}{c;}"},
                                    {"\"a;\"", "{\"a;\";}"},
                                    {"alias x a;b", "{alias x a;b;}"},
                                    {"BIND p god;fly;", "{BIND p god;fly;}"},
                                    {" alias x a;b", "{alias x a;}{b;}"},
                                    {"aliases;b", "{aliases;}{b;}"}};
    for (const auto& [line, commands] : table) {
        dm::WordList words = cut(line);
        dm::endWithSemicolon(words);
        dm::CommandSplit split(words);
        std::string shown;
        for (zu::InplaceString<128> command; split.next(command);)
            shown += "{" + std::string(command.view()) + "}";
        EXPECT_EQ(shown, commands) << line;
    }
    const char* const echoes[][2] = {
        {"", ""},           {"%", "%"},          {"50% done;", "50% done;"},
        {"%s%n;", "%s%n;"}, {"100%%;", "100%;"}, {"%%%", "%%"},
        {"%%%%d", "%%d"}};
    for (const auto& [command, echo] : echoes)
        EXPECT_EQ(dm::echoText(zu::String(command)), echo) << command;
}

} // namespace
