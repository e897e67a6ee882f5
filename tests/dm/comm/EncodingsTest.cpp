#include <dm/comm.h>

#include <gtest/gtest.h>
#include <string>

namespace {

std::string fromHex(const char* text)
{
    zu::Vector<char> bytes;
    dm::stringToBinaryData(text, bytes);
    return {bytes.begin(), bytes.end()};
}

std::string encoded(const std::string& text)
{
    const auto result = net::urlEncodeString(zu::InplaceString<128>(text.c_str()));
    return {result.c_str(), result.length()};
}

std::string decoded(const std::string& text)
{
    const auto result = net::urlDecodeString(zu::InplaceString<128>(text.c_str()));
    return {result.c_str(), result.length()};
}

} // namespace

TEST(Encodings, HexDigitsRoundTripForEveryByte)
{
    std::string all;
    for (int byte = 0; byte < 256; ++byte)
        all += static_cast<char>(byte);
    zu::String text = "left over";
    dm::binaryDataToString(reinterpret_cast<const dm::uint8*>(all.data()), all.size(), text);
    EXPECT_EQ(text.length(), 512u);
    EXPECT_EQ(std::string(text.c_str()).substr(0, 6), "000102");
    EXPECT_EQ(std::string(text.c_str()).substr(508), "feff");
    EXPECT_EQ(fromHex(text.c_str()), all);
    dm::binaryDataToString(nullptr, 0, text);
    EXPECT_TRUE(text.empty());
}

TEST(Encodings, BadHexDigitsCountAs255)
{
    EXPECT_EQ(fromHex("0aFf1"), "\x0A\xFF");
    EXPECT_EQ(fromHex("zzgF1g0g"), "\xEF\xFF\x0F\xFF");
    EXPECT_EQ(fromHex(""), "");
}

TEST(Encodings, UrlEscapesEverythingUnusual)
{
    EXPECT_EQ(encoded("a b/c"), "a%20b%2Fc");
    EXPECT_EQ(encoded("azAZ09$-_.+!*'(),"), "azAZ09$-_.+!*'(),");
    EXPECT_EQ(encoded("\xE9%\x7F"), "%E9%25%7F");
    EXPECT_EQ(encoded(std::string(128, ' ')).size(), 384u);
}

TEST(Encodings, UrlEscapesOfDecimalDigitsAreUndone)
{
    EXPECT_EQ(decoded("a%20b+%41"), "a b+A");
    EXPECT_EQ(decoded("%2F"), "6");
    EXPECT_EQ(decoded("%E9%zz"), "Y\xEA");
    EXPECT_EQ(decoded("%%41"), "T1"); // '%' - '0' shifted left leaves 0x50, and '4' adds its 4
    EXPECT_EQ(decoded("x%"), std::string("x\0", 2));
    EXPECT_EQ(decoded("%5"), "\x05");
}
