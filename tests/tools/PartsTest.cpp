#include "tools/dm/Arguments.h"
#include "tools/dm/CommonOptions.h"
#include "tools/dm/ExitCode.h"
#include "tools/dm/InactivityClock.h"
#include "tools/dm/Text.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace {

using namespace std::chrono_literals;

TEST(Address, ReadsHostAndPort)
{
    EXPECT_EQ(tool::parseAddress("localhost:1").host, "localhost");
    EXPECT_EQ(tool::parseAddress("10.0.0.7:65535").port, 65535);
    EXPECT_EQ(tool::parseAddress("[::1]:3500").host, "::1");
    EXPECT_EQ(tool::parseAddress("[::1]:3500").toString(), "[::1]:3500");
    for (const char* bad : {"", ":", "host", "host:", ":3500", "host:0", "host:65536", "host:-1",
                            "host:80x", "::1:3500", "[]:1", "host:99999999999"})
        EXPECT_THROW(tool::parseAddress(bad), tool::ToolError) << bad;
}

TEST(Duration, NeedsANumberAndItsUnit)
{
    EXPECT_EQ(tool::parseDuration("250ms"), 250ms);
    EXPECT_EQ(tool::parseDuration("1.5s"), 1500ms);
    EXPECT_EQ(tool::parseDuration("2m"), 2min);
    for (const char* bad :
         {"", "5", "s", "-5s", "0s", "5h", "5 s", "inf s", "nans", "1e9s", "9999999m"})
        EXPECT_THROW(tool::parseDuration(bad), tool::ToolError) << bad;
}

TEST(Text, ControlsAreSpelledOutAndOtherTextIsKept)
{
    EXPECT_EQ(tool::escapeControls("a\x1b[31m\r\n\t\x7f"), "a\\x1b[31m\\x0d\\n\\t\\x7f");
    EXPECT_EQ(tool::escapeControls("\xC2\x9B[m"), "\\xc2\\x9b[m"); // an escape sequence too
    EXPECT_EQ(tool::escapeControls("gr\xC3\xBC\xC3\x9F"), "gr\xC3\xBC\xC3\x9F");
    EXPECT_EQ(tool::escapeForTerminal("a\n\tb\x1b"), "a\n\tb\\x1b");
    EXPECT_EQ(tool::toJsonLine({{"text", "\x1b\x7f\xC2\x80\xC2\x9B\xC3\xBC\xE9"}}),
              "{\"text\":\"\\u001b\\u007f\\u0080\\u009b\xC3\xBC\uFFFD\"}\n");
}

TEST(Text, BytesThatAreNoUtf8AreSpelledOut)
{
    for (const char* good :
         {"\xE2\x82\xAC", "\xF0\x9F\x98\x80", "\xF4\x8F\xBF\xBF", "\xEF\xBF\xBF"})
        EXPECT_EQ(tool::escapeControls(good), good);
    EXPECT_EQ(tool::escapeControls("caf\xE9 \x9B!"), "caf\\xe9 \\x9b!") << "Latin-1";
    EXPECT_EQ(tool::escapeControls("cut \xE2\x82"), "cut \\xe2\\x82");
    for (const char* bad : {"\xC0\x80", "\xE0\x9F\xBF", "\xED\xA0\x80", "\xF0\x8F\xBF\xBF",
                            "\xF4\x90\x80\x80", "\xF5\x80\x80\x80", "\xFF"})
        EXPECT_EQ(tool::escapeControls(bad).size(), 4 * std::string(bad).size());
}

TEST(InactivityClock, CountsSinceTheLastSignOfLifeExceptWhileTheToolItselfWasStopped)
{
    const auto start = tool::InactivityClock::Clock::now();
    tool::InactivityClock clock(500ms, start);
    for (std::chrono::milliseconds passed = 100ms; passed < 10s; passed += 100ms)
        clock.look(passed % 400ms == 0ms, start + passed);
    EXPECT_FALSE(clock.isExpired()); // a slow transfer that moves
    for (std::chrono::milliseconds passed = 10s; passed <= 10s + 500ms; passed += 100ms)
        clock.look(false, start + passed);
    EXPECT_TRUE(clock.isExpired());

    tool::InactivityClock stopped(500ms, start);
    stopped.look(false, start + 1h);
    EXPECT_FALSE(stopped.isExpired());
}

} // namespace
