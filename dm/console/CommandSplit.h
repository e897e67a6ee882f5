/// Cuts the words of a command line into its commands, each with the ";" it ends with.
///
///     [a][ ][;][ ][b][;]         ->  "a ;"  "b;"
///     [alias][ ][x][ ][a][;][b;] ->  "alias x a;b;"       what begins with alias or bind is one
#pragma once

#include <dm/console.h>

namespace dm {

/// Ends the last word with ";" unless it does so already, is empty, or there is none.
void endWithSemicolon(WordList& words);

/// Gives the commands one by one. The words are lent and must not change meanwhile.
class CommandSplit
{
public:
    explicit CommandSplit(const WordList& words);

    /// Makes `command` the next one; false, and "", when there is none left.
    bool next(zu::InplaceString<128>& command);

private:
    const WordList& words;
    const bool isWhole; // never split
    size_t position = 0;
};

/// The command as it is echoed: "%%" as "%", any other '%' as it is. What stands in a command is
/// never a format.
zu::InplaceString<128> echoText(const zu::String& command);

} // namespace dm
