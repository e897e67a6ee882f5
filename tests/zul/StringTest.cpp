#include <zul/InplaceString.h>
#include <zul/String.h>

#include <cstdint>
#include <gtest/gtest.h>

namespace {

using zu::InplaceString;
using zu::String;
using namespace std::literals;
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

TEST(String, TakesPartsOfItselfAlsoWhenItGrows)
{
    InplaceString<4> text = "0123";
    text.append(text.c_str() + 1, 3);
    for (int i = 0; i < 6; ++i)
        text.append(text);
    EXPECT_EQ(text.length(), 7u * 64);
    text.assign(text.c_str() + 7 * 63, 7);
    EXPECT_EQ(text, "0123123");
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

TEST(StringOrder, FoldsLettersToLowerCaseAndComparesUnsignedBytes)
{
    // '[' and '_' lie between the cases: folding to upper case would put them behind the letters.
    const std::string_view sorted[] = {""sv,    "\0"sv, "["sv,  "_"sv, "A"sv,  "a\0"sv,  "Ab"sv,
                                       "abC"sv, "B_"sv, "BA"sv, "Z"sv, "z1"sv, "\xC4"sv, "\xE4"sv};
    for (size_t before = 0; before < 20; ++before) // at any place in the words that are compared
        for (const std::string_view& left : sorted)
            for (const std::string_view& right : sorted) {
                const std::string same(before, 'x');
                const String upper = toString(("X" + same).append(left));
                const String lower = toString(("x" + same).append(right));
                EXPECT_EQ(upper < lower, &left < &right) << upper.view() << lower.view();
            }
    EXPECT_TRUE(String("ABc_z").equalsNoCase("abC_Z") && !String("ab").equalsNoCase("a_"));
    EXPECT_EQ(zu::strnicmp("ALIAS x", "alias y", 6), 0);
    EXPECT_LT(zu::strnicmp("ALIAS x", "alias y", 7), 0);
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
    struct
    {
        size_t size, count;
        const char* stored;
        int result;
    } const cases[] = {{6, 6, "12345", 5}, {5, 4, "1234", -1}, {5, 9, "", -1}, {0, 0, "?", -1}};
    for (const auto& row : cases) {
        char buffer[9] = "?";
        EXPECT_EQ(format(buffer, row.size, row.count, "%d", 12345), row.result) << row.size;
        EXPECT_STREQ(buffer, row.stored) << row.size << "/" << row.count;
    }
}

} // namespace
