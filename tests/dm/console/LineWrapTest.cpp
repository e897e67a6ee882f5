#include "dm/console/LineWrap.h"

#include "support/RandomSeed.h"

#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <random>
#include <string>
#include <vector>

namespace {

using dm::console::fittingCharacters;
using dm::console::LineWrap;

std::vector<std::string> wrap(std::string_view line, size_t prefixLength, float width)
{
    std::vector<std::string> rows;
    LineWrap wrap(line, prefixLength, width);
    do
        rows.emplace_back(wrap.next());
    while (!wrap.isAtEnd());
    return rows;
}

TEST(LineWrap, CountsTheCharactersThatFit)
{
    const struct
    {
        size_t length;
        float width;
        int count;
    } cases[] = {
        {5, 0.03f, 2}, {5, 1, 5},  {5, 0.05f, 5},  {0, 0, 0},
        {100, 1, 100}, {3, -1, 0}, {9, 0.015f, 1}, {150, 0.508125f - 0.003125f - 0.01f, 49}};
    for (const auto& c : cases)
        EXPECT_EQ(fittingCharacters(c.length, c.width), c.count) << c.length << ", " << c.width;
}

TEST(LineWrap, BreaksBetweenWordsAndWordsThatAreTooWide)
{
    using Rows = std::vector<std::string>;
    const struct
    {
        std::string line;
        size_t prefix;
        float width;
        Rows rows;
    } cases[] = {
        {"", 1, 1, {""}},
        {" ", 1, 1, {" "}},
        {"one two three", 0, 0.085f, {"one two ", "three"}},
        {"one two three", 0, 0.075f, {"one two", " three"}}, // blanks begin a row too
        {"one two three", 1, 0.085f, {"one two", " three"}},
        {"abcdefghij x", 0, 0.045f, {"abcd", "efgh", "ij x"}},
        {"ab cdefghij", 0, 0.045f, {"ab ", "cdef", "ghij"}},
        {"abcd", 0, 0.045f, {"abcd"}},
        {"abcdefg", 0, 0.06f, {"abcdef", "g"}}, // as wide as the room in one sum, less in the other
        {"abc", 0, 0.01f, {"a", "b", "c"}},
        {"ab", 5, 0.02f, {"a", "b"}},
        {"ab", 1, -3, {"a", "b"}},
        {"ab c", 1, NAN, {"ab c"}},
        {"ab c", 1, std::numeric_limits<float>::infinity(), {"ab c"}},
        {std::string(150, 'x'),
         1,
         0.505f,
         {std::string(49, 'x'), std::string(49, 'x'), std::string(49, 'x'), "xxx"}},
    };
    for (const auto& c : cases)
        EXPECT_EQ(wrap(c.line, c.prefix, c.width), c.rows) << c.line << ", " << c.width;
}

TEST(LineWrap, MarginsGiveTheirRows)
{
    const struct
    {
        float margin;
        size_t row;
    } cases[] = {{0, 99}, {0.005f, 98}, {0.01f, 97}, {0.02f, 95}, {0.05f, 89}};
    for (const auto& c : cases)
        for (size_t prefix : {0u, 1u})
            EXPECT_EQ(wrap(std::string(200, 'x'), prefix, 1 - 2 * c.margin - 0.003125f)[0].size(),
                      c.row - prefix);
}

TEST(LineWrap, JoinedRowsAreTheLineWhateverTheWidth)
{
    std::mt19937 random(support::randomSeed());
    const auto check = [](const std::string& line, size_t prefix, float width) {
        const std::vector<std::string> rows = wrap(line, prefix, width);
        std::string joined;
        for (const std::string& row : rows) {
            joined += row;
            EXPECT_TRUE(!row.empty() || line.empty());
        }
        ASSERT_EQ(joined, line) << prefix << ", " << width;
    };
    for (int thousandths = 0; thousandths < 300; ++thousandths)
        for (size_t length = 1; length < 60; ++length)
            check(std::string(length, 'x'), length % 2, static_cast<float>(thousandths) / 1000);
    for (int i = 0; i < 20000; ++i) {
        std::string line;
        for (size_t length = random() % 200; line.size() < length;)
            line.append(random() % (random() % 20 + 1) + 1, " a1.;\"x"[random() % 7]);
        check(line, random() % 4, static_cast<float>(random() % 1000) / 1000);
    }
}

} // namespace
