#include "zul/common/PortablePath.h"

#include <gtest/gtest.h>
#include <string>

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
    const std::pair<std::string_view, PathFault> table[] = {
        {"..", PathFault::ParentFolder},
        {"a/../b", PathFault::ParentFolder},
        {"a\\..", PathFault::ParentFolder},
        {"/etc", PathFault::Absolute},
        {"\\a", PathFault::Absolute},
        {"\\\\host\\share", PathFault::ServerName},
        {"//?/c:/x", PathFault::ServerName},
        {"C:\\x", PathFault::Drive},
        {"./c:x", PathFault::Drive},
        {std::string_view("a\0b", 3), PathFault::ControlCharacter},
        {"a\nb", PathFault::ControlCharacter},
        {"a\xC2\x9B[2J", PathFault::ControlCharacter},
        {"..\xC0\xAF..", PathFault::NotUtf8},
        {"\xE0\x80\xAF", PathFault::NotUtf8},
        {"\xED\xA0\x80", PathFault::NotUtf8},
        {"\xF4\x90\x80\x80", PathFault::NotUtf8},
        {"\xE2\x82", PathFault::NotUtf8},
    };
    for (const auto& [path, fault] : table)
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
    const std::pair<std::string_view, PathFault> table[] = {
        {"src/nul", PathFault::ReservedName},
        {"Com1 .txt", PathFault::ReservedName},
        {"lpt\xC2\xB2/a", PathFault::ReservedName},
        {"conin$", PathFault::ReservedName},
        {"a/b.", PathFault::TrailingDotOrBlank},
        {"a /b", PathFault::TrailingDotOrBlank},
        {"file:stream", PathFault::ReservedCharacter},
        {"what?", PathFault::ReservedCharacter},
        {"console/nullable.c/com/com10/.con", PathFault::None},
    };
    for (const auto& [path, fault] : table) {
        EXPECT_EQ(normal(path, fault, NameRule::Portable),
                  fault == PathFault::None ? path : std::string_view("!"));
        normal(path); // accepted otherwise
    }
}

} // namespace
