#include <zul/Exception.h>
#include <zul/InplaceString.h>
#include <zul/String.h>

#include <cstdint>
#include <gtest/gtest.h>
#include <random>
#include <string>
#include <vector>

namespace {

using zu::InplaceString;
using zu::String;
using Short = InplaceString<8>;

const std::string kZeroInside("ab\0cd", 5);
const std::string kLong(1000, 'x');

String toString(const std::string& text) { return String(text.data(), text.size()); }

template <typename T>
bool ownsItsStorage(const T& text)
{
    const auto object = reinterpret_cast<uintptr_t>(&text);
    const auto characters = reinterpret_cast<uintptr_t>(text.c_str());
    return characters >= object && characters < object + sizeof text;
}

TEST(String, KeepsZeroBytesThroughEveryOperation)
{
    Short text(toString(kZeroInside));
    text.insert(2, '\0');
    text += text;
    text.erase(0, 1);
    text.toLower();
    const InplaceString<4> copy = text;
    EXPECT_EQ(copy.view(), std::string_view("b\0\0cdab\0\0cd", 11));
    EXPECT_EQ(copy.c_str()[copy.length()], '\0');
    EXPECT_FALSE(copy == "b");
    EXPECT_EQ(copy.substr(7, 2).view(), std::string_view("\0\0", 2));
}

TEST(String, FindsAndCutsWithinBounds)
{
    String text = "a.b.c";
    EXPECT_EQ(text.find('.'), 1u);
    EXPECT_EQ(text.find('.', 2), 3u);
    EXPECT_EQ(text.find('.', 99), String::npos);
    EXPECT_EQ(text.rfind('.'), 3u);
    EXPECT_EQ(text.rfind('.', 2), 1u);
    EXPECT_EQ(text.rfind('.', 0), String::npos);
    EXPECT_EQ(text.substr(4, 99), "c");
    EXPECT_EQ(text.substr(5), "");
    text.erase(99);
    text.erase(3, 99);
    EXPECT_EQ(text, "a.b");
    text = nullptr;
    EXPECT_EQ(text, "");
    char buffer[] = "lent"; // not const: must be copied all the same
    EXPECT_EQ(String(buffer, 2), "le");
    EXPECT_EQ(InplaceString<2>(buffer, 3), "len");
}

TEST(String, TakesPartsOfItselfAlsoWhenItGrows)
{
    InplaceString<4> text = "0123";
    text.append(text.c_str() + 1, 3);
    for (int i = 0; i < 6; ++i)
        text.append(text);
    EXPECT_EQ(text.length(), 7u * 64);
    EXPECT_EQ(text.substr(7 * 63), "0123123");
    text.assign(text.c_str() + 3, 4);
    EXPECT_EQ(text, "3123");
    text = *&text;
    EXPECT_EQ(text, "3123");
}

TEST(String, RefusesWhatMemoryCannotHoldAndStaysAsItWas)
{
    Short text = "kept";
    EXPECT_THROW(text.resize(String::npos), zu::Exception);
    EXPECT_THROW(text.reserve(String::npos / 2), zu::Exception);
    EXPECT_EQ(text, "kept");
}

TEST(InplaceString, GrowsToTheHeapOnlyPastItsRoom)
{
    Short text = "12345678";
    EXPECT_TRUE(ownsItsStorage(text));
    for (char c = 'a'; c <= 'z'; ++c)
        text += c;
    EXPECT_FALSE(ownsItsStorage(text));
    EXPECT_EQ(text, "12345678abcdefghijklmnopqrstuvwxyz");
}

TEST(InplaceString, PointsAtItsOwnStorageAfterCopyMoveAndRelocation)
{
    std::vector<Short> texts;
    for (int i = 0; i < 100; ++i)
        texts.push_back(i % 2 ? Short("short") : Short(kLong.c_str()));
    for (size_t i = 0; i < texts.size(); ++i) {
        EXPECT_EQ(ownsItsStorage(texts[i]), i % 2 == 1);
        EXPECT_EQ(texts[i], i % 2 ? "short" : kLong.c_str());
    }
    std::swap(texts[0], texts[1]);
    EXPECT_TRUE(ownsItsStorage(texts[0]));
    EXPECT_EQ(texts[1], kLong.c_str());
}

TEST(InplaceString, StaysUsableAfterItWasMovedFrom)
{
    Short sameType = kLong.c_str();
    Short toPlain = kLong.c_str();
    Short target = std::move(sameType);
    String plain = std::move(toPlain);
    EXPECT_EQ(target, plain);
    for (Short* source : {&sameType, &toPlain}) {
        EXPECT_EQ(*source, "");
        *source = "12345678";
        EXPECT_EQ(*source, "12345678");
        *source = std::move(target);
        EXPECT_EQ(*source, kLong.c_str());
        target = std::move(*source);
        *source = Short("back");
        EXPECT_TRUE(ownsItsStorage(*source));
    }
}

TEST(InplaceString, GetsItsRoomBackByAMove)
{
    InplaceString<20> text = kLong.c_str();
    const String heap = std::move(text);
    text = "a small block"; // instead of the one that went with the move
    InplaceString<20> twenty = "twenty characters...";
    text = std::move(twenty);
    EXPECT_EQ(text, "twenty characters...");
    EXPECT_TRUE(ownsItsStorage(text)); // so nothing was allocated
}

TEST(StringOrder, FoldsLettersToLowerCaseAndComparesUnsignedBytes)
{
    // '[' and '_' lie between the cases: folding to upper case would put them behind the letters.
    const std::vector<std::string> sorted = {"",     std::string(1, '\0'),
                                             "[",    "_",
                                             "A",    std::string("a\0", 2),
                                             "Ab",   "abC",
                                             "B_",   "BA",
                                             "Z",    "z1",
                                             "\xC4", "\xE4"};
    for (size_t i = 0; i < sorted.size(); ++i)
        for (size_t j = 0; j < sorted.size(); ++j)
            EXPECT_EQ(toString(sorted[i]) < toString(sorted[j]), i < j) << sorted[i] << sorted[j];
}

TEST(StringOrder, AgreesWithTheComparisonByByte)
{
    std::mt19937 random(4711);
    const auto pick = [&random](size_t count) {
        return std::uniform_int_distribution<size_t>(0, count - 1)(random);
    };
    for (int round = 0; round < 20000; ++round) {
        std::string left;
        std::string right;
        for (size_t i = pick(30); i > 0; --i) {
            const char letter = "aBz_"[pick(4)];
            left += letter;
            right += pick(20) == 0 ? "AbZ\xC0"[pick(4)] : letter;
        }
        right.resize(right.size() - std::min(right.size(), pick(3)));
        const int expected = zu::stricmp(left.c_str(), right.c_str());
        ASSERT_EQ(toString(left) < toString(right), expected < 0) << left << " " << right;
        ASSERT_EQ(toString(right) < toString(left), expected > 0) << left << " " << right;
        ASSERT_EQ(toString(left).equalsNoCase(right.c_str()), expected == 0);
    }
}

TEST(StringOrder, LooksNoFurtherThanAskedOrTheEnd)
{
    EXPECT_EQ(zu::strnicmp("ALIAS x", "alias y", 6), 0);
    EXPECT_LT(zu::strnicmp("ALIAS x", "alias y", 7), 0);
    EXPECT_EQ(zu::strnicmp("a", "A", 100), 0);
    EXPECT_TRUE(String("Alias x").startsWithNoCase("aLIAS"));
    EXPECT_FALSE(String("Al").startsWithNoCase("alias"));
    EXPECT_FALSE(toString(kZeroInside).equalsNoCase("ab"));
    EXPECT_TRUE(String().equalsNoCase(nullptr) && String("a").startsWithNoCase(nullptr));
}

int format(char* buffer, size_t size, size_t count, const char* text, ...)
{
    va_list arguments;
    va_start(arguments, text);
    const int result = zu::formatBounded(buffer, size, count, text, arguments);
    va_end(arguments);
    return result;
}

TEST(Format, CutsToTheCountOrDropsWhatDoesNotFit)
{
    struct Case
    {
        size_t size;
        size_t count;
        const char* stored;
        int result;
    };
    const Case cases[] = {{8, 7, "12345", 5}, {8, 8, "12345", 5}, {6, 6, "12345", 5},
                          {8, 3, "123", -1},  {5, 4, "1234", -1}, {5, 5, "", -1},
                          {5, 9, "", -1},     {8, 5, "12345", 5}, {1, 0, "", -1},
                          {0, 0, "?", -1}};
    for (const Case& c : cases) {
        char buffer[9] = "?";
        EXPECT_EQ(format(buffer, c.size, c.count, "%d", 12345), c.result)
            << c.size << "/" << c.count;
        EXPECT_STREQ(buffer, c.stored) << c.size << "/" << c.count;
    }
}

TEST(Format, GrowsWithTheResult)
{
    for (const size_t length : {0u, 255u, 256u, 257u, 1000u}) {
        const std::string text(length, 'y');
        EXPECT_EQ(zu::str("%s", text.c_str()).view(), text);
    }
    zu::Exception error;
    error.setError("%s!", kLong.c_str());
    EXPECT_EQ(zu::Exception(error).what(), kLong + "!");
}

} // namespace
