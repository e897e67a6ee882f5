#include "dm/console/CommandSplit.h"

#include <gtest/gtest.h>
#include <string>

namespace {

// Command by command: "{a;}{b;}".
std::string split(const std::string& line)
{
    dm::WordList words;
    dm::tokenizeLine(words, zu::String(line.data(), line.size()));
    dm::endWithSemicolon(words);
    dm::CommandSplit split(words);
    std::string shown;
    for (zu::InplaceString<128> command; split.next(command);)
        shown += "{" + std::string(command.view()) + "}";
    return shown;
}

TEST(CommandSplit, EndsEachCommandWithItsSemicolon)
{
    const std::string longWord(1000, 'x');
    const struct
    {
        std::string line;
        std::string commands;
    } table[] = {
        {"", ""},
        {"a", "{a;}"},
        {"a;", "{a;}"},
        {"a;b", "{a;}{b;}"},
        {"  a ;\t b", "{a ;}{b;}"},
        {"a;;b", "{a;}{;}{b;}"},
        {";", "{;}"},
        {"   ", ""},
        {"a ; ", "{a ;}"}, // the blank that got the line's last ";"
        {"echo \"a;b\";c", "{echo \"a;b\";}{c;}"},
        {"\"a;\"", "{\"a;\";}"},
        {"\f", "{\f;}"},
        {std::string("\0a", 2), "{a;}"},
        {longWord + ";" + longWord, "{" + longWord + ";}{" + longWord + ";}"},
        // Not split when the very first word says so.
        {"alias x a;b", "{alias x a;b;}"},
        {"BIND p god;fly;", "{BIND p god;fly;}"},
        {"alias;a;b", "{alias;a;b;}"},
        {" alias x a;b", "{alias x a;}{b;}"},
        {"aliases;b", "{aliases;}{b;}"},
        {"a;alias x a;b", "{a;}{alias x a;}{b;}"},
    };
    for (const auto& [line, commands] : table)
        EXPECT_EQ(split(line), commands) << line;

    dm::WordList empty;
    empty.emplace_back("a");
    empty.emplace_back("");
    dm::endWithSemicolon(empty);
    EXPECT_EQ(empty.back(), "");
}

TEST(CommandSplit, EchoesPercentSignsAsTheyAreTyped)
{
    const struct
    {
        const char* command;
        const char* echo;
    } table[] = {
        {"", ""},           {"%", "%"},          {"50% done;", "50% done;"},
        {"%s%n;", "%s%n;"}, {"100%%;", "100%;"}, {"%%%", "%%"},
        {"%%%%d", "%%d"},   {"a%%", "a%"},
    };
    for (const auto& [command, echo] : table)
        EXPECT_EQ(dm::echoText(zu::String(command)), echo) << command;
}

} // namespace
