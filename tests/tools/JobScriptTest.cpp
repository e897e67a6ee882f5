#include "tools/dm/JobScript.h"

#include <gmock/gmock.h>
#include <tuple>

namespace {

using tool::JobScript;
using tool::parseJobScript;
using tool::ScriptStep;

TEST(JobScript, ReadsEveryKindOfJob)
{
    const JobScript script =
        parseJobScript("# comment\n"
                       "notify build \"level \\\"1\\\"\\n\\t\\\\\" 4294967295\r\n"
                       "\n"
                       "\trequest build log >build.log # more\n"
                       "wait-notify \"two words\"\n"
                       "wait-request b#1\n"
                       "respond build \"\" < \"in file\"\n"
                       "wait-notify-and-request b done a>b");
    ASSERT_TRUE(script.errors.empty()) << script.errors[0].message;
    ASSERT_EQ(script.steps.size(), 6u);
    const auto& steps = script.steps;
    for (int kind = ScriptStep::Notify; kind <= ScriptStep::WaitNotifyAndRequest; ++kind)
        EXPECT_EQ(steps[static_cast<size_t>(kind)].kind, kind);
    EXPECT_EQ(steps[0].line, 2u);
    EXPECT_EQ(steps[0].text, "level \"1\"\n\t\\");
    EXPECT_EQ(steps[0].value, 4294967295u);
    EXPECT_EQ(steps[1].file, "build.log");
    EXPECT_EQ(steps[2].pipe, "two words");
    EXPECT_EQ(steps[3].pipe, "b#1");
    EXPECT_EQ(steps[4].text, "");
    EXPECT_EQ(steps[4].file, "in file");
    EXPECT_EQ(steps[5].line, 8u);
    EXPECT_EQ(steps[5].notification, "done");
    EXPECT_EQ(steps[5].text, "a>b");
}

TEST(JobScript, SaysWhereEachMistakeIs)
{
    const std::tuple<std::string, size_t, const char*> mistakes[] = {
        {"shout a b", 1, "'shout' is no job"},
        {"\"notify\" a b x", 14, "is no VALUE"},
        {"notify a b", 11, "VALUE is missing: write notify PIPE TEXT VALUE"},
        {"notify a b -1", 12, "is no VALUE"},
        {"notify a b 4294967296", 12, "is no VALUE"},
        {"wait-request ", 14, "PIPE is missing"},
        {"wait-notify \"\"", 13, "PIPE must have"},
        {"wait-notify a b", 15, "'b' is too much"},
        {"request a \"\"", 11, "TEXT is empty"},
        {"request a > f", 11, "TEXT is missing"},
        {"request a b >", 14, "FILE is missing"},
        {"request a b > -", 15, "FILE cannot be -"},
        {"request a b < f", 13, "'<' is too much"},
        {"respond a b > f", 13, "'>' is too much"},
        {"request a b > f g", 17, "'g' is too much"},
        {"request a \"b", 11, "does not end"},
        {"request a \"b\"c", 14, "follows the closing quote"},
        {"request a b\"c", 12, "a quote inside"},
        {"request \xC3\xBC\xC3\xA4 \"\\x\"", 13, "unknown escape"}, // columns count characters
    };
    for (const auto& [line, column, says] : mistakes) {
        SCOPED_TRACE(line);
        const JobScript script = parseJobScript("\n" + line + "\nwait-notify a");
        ASSERT_EQ(script.errors.size(), 1u);
        EXPECT_EQ(script.errors[0].line, 2u);
        EXPECT_EQ(script.errors[0].column, column);
        EXPECT_THAT(script.errors[0].message, testing::HasSubstr(says));
    }
    EXPECT_EQ(parseJobScript({"wait-notify a\0b", 15}).errors[0].column, 14u);
    std::string many;
    for (int time = 0; time < 30; ++time)
        many += "oops\n";
    EXPECT_EQ(parseJobScript(many).errors.size(), tool::kMaxScriptErrors);
}

} // namespace
