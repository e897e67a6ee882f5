#include "dm/console/KnownWords.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace {

class KnownWordsTest : public testing::Test
{
protected:
    KnownWordsTest()
    {
        for (const char* word : {"print", "echo", "help"})
            words.add(word, false);
        words.add("SetFov", true);
    }

    // A line is written with its cursor. Each '>' is a Tab, each '<' a Shift+Tab; the first
    // restarts.
    std::string tab(const std::string& shown, const std::string& presses)
    {
        const size_t cursor = shown.find('|');
        line.setText(shown.substr(0, cursor) + shown.substr(cursor + 1), true);
        line.setCursor(static_cast<int>(cursor));
        for (size_t press = 0; press < presses.size(); ++press)
            words.complete(line, presses[press] == '>', press == 0);
        return show();
    }

    std::string show() const
    {
        std::string text(line.getText().view());
        return text.insert(static_cast<size_t>(line.getCursor()), "|");
    }

    dm::KnownWords words;
    dm::InputLine line;
};

TEST_F(KnownWordsTest, CompletesWhatStandsBeforeTheCursor)
{
    const struct
    {
        const char* before;
        const char* presses;
        const char* after;
    } table[] = {
        // Anywhere in the word, in alphabetical order, and round.
        {"e|", ">", "echo|"},
        {"e|", ">>", "help|"},
        {"e|", ">>>", "setfov( | );"},
        {"e|", ">>>>", "echo|"},
        {"e|", "<", "setfov( | );"},
        {"e|", "<<<<", "setfov( | );"},
        {"e|", "<<<", "echo|"},
        {"e|", "><", "setfov( | );"},
        {"rin|", ">>>", "print|"}, // the only one
        {"|", ">", "echo|"},       // nothing typed: all fit
        {"|", "<", "setfov( | );"},
        {"z|", ">>", "z|"},
        {"z|", "<<", "z|"},
        // The word itself comes first, in its own letter case.
        {"HELP|", ">", "help|"},
        {"HELP|", "<", "help|"},
        {"setFOV|", ">", "setfov( | );"},
        // The last ' ' or '>' at or before the cursor begins the word; what follows it is replaced.
        {"give >he|", ">", "give >help|"},
        {"give> HE|", ">", "give> help|"},
        {"A>b he|", ">>", "A>b help|"},
        {"do ec|ho it", ">", "do ec|ho it"},
        {"do h|", ">", "do echo|"},
        {"do |h", ">", "do echo|"},
        {"do| rin", ">", "do echo|"}, // on the separator: nothing typed
        {"d|o pri", ">", "d|o pri"},
        {"r|int x", ">", "r|int x"},
        {"r|in", ">", "print|"},
    };
    for (const auto& [before, presses, after] : table)
        EXPECT_EQ(tab(before, presses), after) << before << ' ' << presses;
}

TEST_F(KnownWordsTest, AWordKeepsItsFirstFlagWhateverItsCase)
{
    words.add("ECHO", true);
    EXPECT_EQ(tab("ech|", ">"), "echo|");
    EXPECT_TRUE(words.contains("Echo"));
    EXPECT_FALSE(words.contains("ech"));
    words.remove("Echo");
    EXPECT_FALSE(words.contains("echo"));
    words.add("ECHO", true);
    EXPECT_EQ(tab("ech|", ">"), "echo( | );");
}

TEST_F(KnownWordsTest, RemovingEndsTheCompletionUnderWay)
{
    tab("e|", ">");
    words.remove("nothing");
    words.complete(line, true, false);
    EXPECT_EQ(show(), "help|") << "nothing was removed";
    words.remove("print");
    words.complete(line, true, false);
    EXPECT_EQ(show(), "help|");
    EXPECT_EQ(tab("e|", ">"), "echo|");
    words.removeAll();
    words.complete(line, false, false);
    words.complete(line, true, true);
    EXPECT_EQ(show(), "echo|");
    EXPECT_TRUE(words.isEmpty());
}

TEST_F(KnownWordsTest, GoesOnWithTheWordsOfTheFirstPressWhateverTheLineSays)
{
    tab("x e|", ">");
    line.setText("other", true);
    words.complete(line, true, false);
    EXPECT_EQ(show(), "x help|");
    words.add("hem", false); // a word added meanwhile has its turn
    words.complete(line, true, false);
    EXPECT_EQ(show(), "x hem|");
}

} // namespace
