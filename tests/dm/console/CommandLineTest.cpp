/// The line being typed: keys, history, completion.
#include "ConsoleFixture.h"
#include "dm/console/InputLine.h"
#include "dm/console/KnownWords.h"
#include "support/RandomSeed.h"

using namespace support;

namespace {

// A line is written with its cursor: "he|llo".
void set(dm::InputLine& line, const std::string& shown)
{
    const size_t cursor = shown.find('|');
    line.setText(shown.substr(0, cursor) + shown.substr(cursor + 1), true);
    line.setCursor(static_cast<int>(cursor));
}

std::string show(const dm::InputLine& line)
{
    std::string shown(line.getText().view());
    return shown.insert(static_cast<size_t>(line.getCursor()), "|");
}

TEST(InputLine, TakesTextAtTheCursor)
{
    dm::InputLine line;
    set(line, "a|b");
    line.appendText("1\t2\r\n3\x1b");
    EXPECT_EQ(show(line), "a12  3\x1b|b");
    set(line, "a|b");
    line.appendText(line.getText().view());
    EXPECT_EQ(show(line), "aab|b");
}

/// What keys are to do, step by step.
struct NaiveEditor
{
    void key(int code, char character)
    {
        const int length = static_cast<int>(text.size());
        if (code == keys::kEnter)
            enter();
        else if (code == keys::kUp || code == keys::kDown)
            browse(code == keys::kUp ? 1 : -1);
        else if (code == keys::kBackspace && --cursor >= 0)
            text.erase(static_cast<size_t>(cursor), 1);
        else if (code == keys::kEscape)
            text = "";
        else if (code == keys::kEnd || code == keys::kHome)
            cursor = code == keys::kEnd ? length : 0;
        else if (code == keys::kLeft || code == keys::kRight)
            cursor += code == keys::kLeft ? -1 : 1;
        else if (code == keys::kDelete && cursor < length)
            text.erase(static_cast<size_t>(cursor), 1);
        else if (code == 'A' && character != 0)
            text.insert(text.begin() + cursor++, character);
        cursor = std::clamp(cursor, 0, static_cast<int>(text.size()));
    }
    void browse(int delta)
    {
        const int count = static_cast<int>(entered.size());
        if (count == 0)
            return;
        index += delta;
        index = index >= count ? 0 : index < 0 ? count - 1 : index;
        text = entered[static_cast<size_t>(count - 1 - index)];
        cursor = static_cast<int>(text.size());
    }
    void enter()
    {
        index = text.empty() ? index : -1;
        if (!text.empty())
            entered.push_back(std::exchange(text, ""));
        if (entered.size() > dm::kMaxConsoleCommands)
            entered.erase(entered.begin());
    }

    std::string text;
    int cursor = 0;
    Texts entered; // oldest first
    int index = -1;
};

using Editing = ConsoleFixture;

TEST_F(Editing, GoesAsANaiveEditorDoesForRandomKeys)
{
    constexpr int kKeys[] = {keys::kBackspace, keys::kEnd,  keys::kHome, keys::kLeft, keys::kRight,
                             keys::kDelete,    keys::kDown, keys::kUp,   keys::kUp};
    std::mt19937 random(randomSeed());
    NaiveEditor naive;
    for (int step = 0; step < 20'000; ++step) {
        // Mostly letters, so that lines outgrow the room inside the object.
        const auto choice = random() % 1000;
        const int code = choice < 4     ? keys::kEnter
                         : choice < 5   ? keys::kEscape
                         : choice < 400 ? kKeys[random() % std::size(kKeys)]
                                        : 'A';
        const char character = static_cast<char>(random());
        press(code, "", character);
        naive.key(code, character);
        ASSERT_EQ(line(), naive.text) << "step " << step << " key " << code;
    }
}

class KnownWordsTest : public testing::Test
{
protected:
    KnownWordsTest()
    {
        for (const char* word : {"print", "echo", "help", "SetFov"})
            words.add(word, *word == 'S');
    }

    // Each '>' is a Tab, each '<' a Shift+Tab; the first restarts.
    std::string tab(const std::string& shown, const std::string& presses)
    {
        set(line, shown);
        for (size_t press = 0; press < presses.size(); ++press)
            words.complete(line, presses[press] == '>', press == 0);
        return show(line);
    }
    std::string goOn()
    {
        words.complete(line, true, false);
        return show(line);
    }

    dm::KnownWords words;
    dm::InputLine line;
};

TEST_F(KnownWordsTest, CompletesWhatStandsBeforeTheCursor)
{
    // Words are proposed in alphabetical order, and round; one that stands there comes first. It
    // begins behind the last ' ' or '>' at or before the cursor; what follows it is replaced.
    const char* const table[][3] = {{"e|", ">>>", "setfov( | );"},
                                    {"e|", ">>>>", "echo|"},
                                    {"e|", "<<<", "echo|"},
                                    {"e|", "><", "setfov( | );"},
                                    {"rin|", ">>>", "print|"},
                                    {"|", "<", "setfov( | );"},
                                    {"z|", ">>", "z|"},
                                    {"z|", "<<", "z|"},
                                    {"HELP|", "<", "help|"},
                                    {"give >he|", ">", "give >help|"},
                                    {"A>b HE|", ">", "A>b help|"},
                                    {"do ec|ho it", ">", "do ec|ho it"},
                                    {"do |h", ">", "do echo|"},
                                    {"do| rin", ">", "do echo|"},
                                    {"d|o pri", ">", "d|o pri"},
                                    {"r|in", ">", "print|"}};
    for (const auto& [before, presses, after] : table)
        EXPECT_EQ(tab(before, presses), after) << before << ' ' << presses;
}

TEST_F(KnownWordsTest, GoesOnUntilAWordIsRemoved)
{
    words.add("ECHO", true); // keeps its first flag
    tab("x e|", ">");
    EXPECT_EQ(show(line), "x echo|");
    line.setText("other", true); // whatever the line says
    words.remove("nothing");
    EXPECT_EQ(goOn(), "x help|");
    words.add("hem", false); // has its turn
    EXPECT_EQ(goOn(), "x hem|");
    words.remove("Hem");
    EXPECT_EQ(goOn(), "x hem|");
    tab("e|", ">");
    words.removeAll();
    EXPECT_EQ(goOn(), "echo|");
    words.add("ECHO", true);
    EXPECT_EQ(tab("e|", ">"), "echo( | );");
}

} // namespace
