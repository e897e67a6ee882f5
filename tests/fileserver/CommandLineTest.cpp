#include "tools/fileserver/CommandLine.h"

#include <gtest/gtest.h>
#include <string>

using namespace fileserver;

namespace {

// What a line is read as, in one text; or why it is not.
std::string read(std::string_view line)
{
    const CommandSyntax* const command = findCommand(line);
    if (command == nullptr)
        return "unknown";
    ParsedCommand parsed;
    const char* error = nullptr;
    if (!parse(*command, line, parsed, error))
        return error;
    return std::string(parsed.path) + '|' + std::string(parsed.secondPath) + '|' +
           std::string(parsed.filter) + '|' + std::to_string(parsed.position) + '|' +
           std::to_string(parsed.count) + (parsed.isRecursive ? "|recursive" : "");
}

TEST(CommandLine, ReadsWhatGamesPrint)
{
    const std::pair<const char*, const char*> table[] = {
        {"fileExists \"a/b c.map\"", "a/b c.map|||0|0"},
        {"findFiles \"\"", "|||0|0"},
        {"getFileSize \"a \"b\" c\"", "a \"b\" c|||0|0"},
        {"moveFile \"a\" \"b\"\"", "a|b\"||0|0"},
        {"read 0 2147483647 \"a\"", "a|||0|2147483647"},
        {"write 7 0 \"\"", "|||7|0"},
        {"findFilesRecursive \"a\" \"*.map\" 1", "a||*.map|0|0|recursive"},
        {"findFilesRecursive \"a\" \"\" 0", "a|||0|0"},
        {"getMappedFolders", "|||0|0"},
    };
    for (const auto& [line, expected] : table)
        EXPECT_EQ(read(line), expected) << line;
    for (size_t index = 0; index < kCommands.size(); ++index)
        EXPECT_EQ(static_cast<size_t>(kCommands[index].id), index);
}

TEST(CommandLine, RefusesWhatGamesDoNotPrint)
{
    for (const char* line : {"", " ", "fileexists \"a\"", "fileExists2 \"a\"", " fileExists \"a\"",
                             "fileExists\t\"a\"", "\"fileExists\" \"a\""})
        EXPECT_EQ(read(line), "unknown") << line;
    for (const char* line :
         {// Paths.
          "fileExists", "fileExists ", "fileExists a", "fileExists \"", "fileExists  \"a\"",
          "fileExists \"a\" ", "fileExists \"a\"x", "moveFile \"a\"", "moveFile \"a\"  \"b\"",
          "moveFile \"a\" \"b\" \"c\"", "moveFile \"a\" \" \"b\"", "copyFile \"a\",\"b\"",
          // Numbers.
          "read 1 \"a\"", "read 1 2", "read  1 2 \"a\"", "read +1 2 \"a\"", "read 01 2 \"a\"",
          "read 1 -2 \"a\"", "read -0 2 \"a\"", "read 0x1 2 \"a\"", "read 2147483648 2 \"a\"",
          "read 1 2\"a\"", "write 1 99999999999999999999 \"a\"", "write 1.0 2 \"a\"",
          "findFilesRecursive \"a\" \"*\" 2", "findFilesRecursive \"a\" \"*\"",
          "findFilesRecursive \"a\" \"*\" 01", "findFilesRecursive \"a\" 1",
          "findFilesRecursive \"a\" \"b\" \"c\" 1", "getMappedFolders ", "getMappedFolders \"a\""})
        EXPECT_EQ(read(line).find('|'), std::string::npos) << line;
    EXPECT_EQ(read(std::string_view("fileExists \"a\0b\"", 16)), "there is a zero byte in it");
}

} // namespace
