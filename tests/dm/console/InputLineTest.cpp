#include "dm/console/InputLine.h"

#include "dm/console/KeyCodes.h"
#include "support/RandomSeed.h"

#include <gtest/gtest.h>
#include <random>
#include <string>

namespace {

namespace keys = dm::keys;

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

TEST(InputLine, TakesTextAtTheCursorAndWhole)
{
    dm::InputLine line;
    set(line, "a|b");
    line.appendText("1\t2\r\n3\x1b");
    EXPECT_EQ(show(line), "a12  3\x1b|b");
    line.appendText(line.getText().view());
    EXPECT_EQ(show(line), "a12  3\x1b"
                          "a12  3\x1b"
                          "b|b");

    set(line, "abc|d");
    line.setText("ab", false);
    EXPECT_EQ(show(line), "ab|");
    EXPECT_TRUE(line.isCursorAtEnd());
    line.setCursor(-1);
    line.setText("abcd", false);
    EXPECT_EQ(show(line), "|abcd");
    line.setCursor(99);
    EXPECT_EQ(show(line), "abcd|");

    line.handleKey(0, 'x', false); // keys that edit, only
    line.handleKey(keys::kBackspace, 'x', false);
    EXPECT_EQ(show(line), "abc|");
    line.appendText(std::string(100'000, 'x'));
    EXPECT_EQ(line.getText().length(), 100'003u) << "never cut";
}

// What the editor is to do, step by step.
struct NaiveLine
{
    void key(int code, char character)
    {
        const int length = static_cast<int>(text.size());
        switch (code) {
        case 8:
            if (--cursor >= 0)
                text.erase(static_cast<size_t>(cursor), 1);
            break;
        case 27:
            text = "";
            break;
        case 35:
            cursor = length;
            break;
        case 36:
            cursor = 0;
            break;
        case 37:
            --cursor;
            break;
        case 39:
            ++cursor;
            break;
        case 46:
            if (cursor < length)
                text.erase(static_cast<size_t>(cursor), 1);
            break;
        default:
            if (character != 0)
                text.insert(text.begin() + cursor++, character);
        }
        cursor = std::max(0, std::min(cursor, static_cast<int>(text.size())));
    }

    std::string text;
    int cursor = 0;
};

TEST(InputLine, EditsAsANaiveEditorDoesForRandomKeys)
{
    std::mt19937 random(support::randomSeed());
    dm::InputLine line;
    NaiveLine naive;
    for (int step = 0; step < 50'000; ++step) {
        // Mostly letters, and Escape rarely, so that lines outgrow the room inside the object.
        const int code = random() % 3 == 0 ? static_cast<int>(random() % 50) : 'A';
        const char character = code == 27 && random() % 20 != 0 ? 0 : static_cast<char>(random());
        if (code == 27 && character == 0)
            continue;
        line.handleKey(code, character, true);
        naive.key(code, character);
        ASSERT_EQ(line.getText().view(), naive.text) << "step " << step << " key " << code;
        ASSERT_EQ(line.getCursor(), naive.cursor) << "step " << step << " key " << code;
    }
}

} // namespace
