#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace sandbox {

/// A command as the console hands it over, cut up.
///
///     bind x toggle paused;   →  name "bind", rest "x toggle paused", words "x" "toggle" "paused"
///     write "a b.txt" done;   →  name "write", words "a b.txt" "done"
///     burst( 40 );            →  name "burst", words "40"
///     echo (hi);              →  name "echo", words "(hi)": only right behind a name they go
struct CommandText
{
    std::string name; ///< in lower case; "" when there is no command
    std::string rest; ///< what follows, without blanks around it and the ';' at the end
    std::vector<std::string> words; ///< of the rest: quotes keep blanks in one word, and are gone

    /// The rest from that word on, in its own letters; a text that is quoted as a whole is not.
    std::string restFrom(size_t word) const;
};

CommandText parseCommand(std::string_view command);

} // namespace sandbox
