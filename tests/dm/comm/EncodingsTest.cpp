#include <dm/comm.h>

#include <gtest/gtest.h>

namespace {

std::string fromHex(const char* text)
{
    zu::Vector<char> bytes;
    dm::stringToBinaryData(text, bytes);
    return {bytes.begin(), bytes.end()};
}

template <typename Convert>
std::string converted(Convert convert, const std::string& text)
{
    const auto result = convert(zu::InplaceString<128>(text.c_str()));
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
    EXPECT_EQ(std::string(text.c_str()).substr(508), "feff");
    EXPECT_EQ(fromHex(text.c_str()), all);
    dm::binaryDataToString(nullptr, 0, text);
    EXPECT_TRUE(text.empty());
    EXPECT_EQ(fromHex("0aFf1"), "\x0A\xFF");
    EXPECT_EQ(fromHex("zzgF1g0g"), "\xEF\xFF\x0F\xFF") << "bad digits count as 255";
}

TEST(Encodings, UrlEscapesEverythingUnusualAndUndoesDecimalDigits)
{
    const auto encode = [](auto text) { return net::urlEncodeString(text); };
    EXPECT_EQ(converted(encode, "azAZ09$-_.+!*'(), /"), "azAZ09$-_.+!*'(),%20%2F");
    EXPECT_EQ(converted(encode, "\xE9%\x7F"), "%E9%25%7F");
    EXPECT_EQ(converted(encode, std::string(128, ' ')).size(), 384u);

    const auto decode = [](auto text) { return net::urlDecodeString(text); };
    EXPECT_EQ(converted(decode, "a%20b+%41%2F%5"), "a b+A6\x05");
    EXPECT_EQ(converted(decode, "%E9%zz"), "Y\xEA");
    EXPECT_EQ(converted(decode, "%%41"), "T1"); // ('%' - '0') << 4 leaves 0x50, '4' adds its 4
    EXPECT_EQ(converted(decode, "x%"), std::string("x\0", 2));
}
