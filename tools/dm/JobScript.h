/// The text file of `dm run`, read into steps. No files, no pipes: text in, steps or errors out.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tool {

/// One job of a script. Which texts it has depends on its kind.
struct ScriptStep
{
    enum Kind : int
    {
        Notify,
        Request,
        WaitNotify,
        WaitRequest,
        Respond,
        WaitNotifyAndRequest,
    };
    Kind kind = Notify;
    std::size_t line = 0; ///< counted from 1
    std::string pipe;
    std::string notification; ///< what is awaited, of WaitNotifyAndRequest
    std::string text;         ///< the notification's, request's or answer's
    std::uint32_t value = 0;  ///< of Notify
    std::string file;         ///< that the answer's data is written to or read from; empty: none
};

/// The word a step is written with, as "wait-notify".
const char* nameOf(ScriptStep::Kind kind);

struct ScriptError
{
    std::size_t line = 0;
    std::size_t column = 0; ///< in characters, counted from 1
    std::string message;    ///< what is wrong and what to write; may hold anything from the text
};

struct JobScript
{
    std::vector<ScriptStep> steps;   // in the order of their lines; complete without errors only
    std::vector<ScriptError> errors; // the first of each line, up to kMaxScriptErrors
};

inline constexpr std::size_t kMaxScriptErrors = 20;

/// Reads a script: one job a line, words separated by blanks, a # where a word could begin starts a
/// comment.
///
///     notify build "level \"one\" saved" 7   → Notify, pipe build, that text, 7
///     request build log > build.log          → Request, data of the answer into build.log
///     respond build ok < hero.mesh           → Respond, data from hero.mesh
///     wait-request                           → line 4, column 13: PIPE is missing …
///
/// Escapes in quotes: \" \\ \n \t. A > or < ends nothing but its own word: a>b is a word.
JobScript parseJobScript(std::string_view text);

} // namespace tool
