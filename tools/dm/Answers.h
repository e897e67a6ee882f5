#pragma once

#include "tools/dm/PipeService.h"

#include <string>

namespace tool {

/// What `dm listen` answers requests with; at most one of the three is set.
struct AnswerOptions
{
    std::string text;
    std::string filePath;
    std::string commandLine;
    std::string pipeName; // told to the command
};

/// Makes the answer to one request.
///
/// A command gets the request's text and value in DM_REQUEST_TEXT and DM_REQUEST_VALUE, the pipe's
/// name in DM_PIPE and the data on its standard input. Nothing that a peer sends becomes part of
/// the command line. What it prints becomes the answer's data, with the text "ok".
///
/// Errors: never throws for what a command or file does; the asker gets a text that starts with
/// "error: " instead.
Reply makeReply(const AnswerOptions& options, const Request& request);

} // namespace tool
