#include "zul/common/PortablePath.h"

#include <gtest/gtest.h>

using zu::NameRule;
using zu::PathFault;

namespace {

// The normal form, or "!" when the path is refused as it should be.
std::string normal(std::string_view path, PathFault expected = PathFault::None,
                   NameRule rule = NameRule::Any)
{
    std::string result = "!";
    EXPECT_EQ(zu::normalisePath(path, rule, result), expected) << path;
    return result;
}

TEST(PortablePath, JoinsNamesWhicheverWayTheyAreSeparated)
{
    EXPECT_EQ(normal(""), "");
    EXPECT_EQ(normal("./"), "");
    EXPECT_EQ(normal("a\\b/.//\xC3\xA9.map\\"), "a/b/\xC3\xA9.map");
    EXPECT_EQ(normal(".../..a/b..: ?/nul"), ".../..a/b..: ?/nul"); // fine here, if unusual
}

TEST(PortablePath, RefusesWhatCouldLeadElsewhere)
{
    const std::pair<PathFault, std::vector<std::string_view>> table[] = {
        {PathFault::ParentFolder, {"..", "a/../b", "a\\.."}},
        {PathFault::Absolute, {"/etc", "\\a"}},
        {PathFault::ServerName, {"\\\\host\\share", "//?/c:/x"}},
        {PathFault::Drive, {"C:\\x", "./c:x"}},
        {PathFault::ControlCharacter, {std::string_view("a\0b", 3), "a\nb", "a\xC2\x9B[2J"}},
        {PathFault::NotUtf8,
         {"..\xC0\xAF..", "\xE0\x80\xAF", "\xED\xA0\x80", "\xF4\x90\x80\x80", "\xE2\x82"}}};
    for (const auto& [fault, paths] : table)
        for (const std::string_view path : paths)
            EXPECT_EQ(normal(path, fault), "!");
}

TEST(PortablePath, LimitsLengths)
{
    EXPECT_EQ(normal(std::string(zu::kMaxNameBytes, 'n')).size(), zu::kMaxNameBytes);
    normal(std::string(zu::kMaxNameBytes + 1, 'n'), PathFault::NameTooLong);
    std::string deep;
    for (size_t i = 0; i < zu::kMaxPathNames; ++i)
        deep += "./d/";
    EXPECT_EQ(normal(deep).size(), 2 * zu::kMaxPathNames - 1);
    normal(deep + "d", PathFault::TooDeep);
    normal(std::string(zu::kMaxPathBytes + 1, '.'), PathFault::TooLong);
}

TEST(PortablePath, RefusesOnDemandWhatOtherSystemsReadDifferently)
{
    const std::pair<PathFault, std::vector<std::string_view>> table[] = {
        {PathFault::ReservedName, {"src/nul", "Com1 .txt", "lpt\xC2\xB2/a", "conin$"}},
        {PathFault::TrailingDotOrBlank, {"a/b.", "a /b"}},
        {PathFault::ReservedCharacter, {"file:stream", "what?"}},
        {PathFault::None, {"console/nullable.c/com/com10/.con"}}};
    for (const auto& [fault, paths] : table)
        for (const std::string_view path : paths) {
            EXPECT_EQ(normal(path, fault, NameRule::Portable),
                      fault == PathFault::None ? path : std::string_view("!"));
            normal(path); // accepted otherwise
        }
}

} // namespace
