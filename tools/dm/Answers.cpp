#include "tools/dm/Answers.h"

#include "tools/dm/ExitCode.h"
#include "tools/dm/Files.h"

#include <zul/Interrupt.h>
#include <zul/Process.h>

namespace tool {

namespace {

std::string describeFailure(const zu::ProcessResult& result)
{
    const std::string number = std::to_string(result.exitCode);
    switch (result.end) {
    case zu::ProcessResult::Exited:
        return "error: exit code " + number;
    case zu::ProcessResult::Killed:
        return "error: killed by signal " + number;
    case zu::ProcessResult::Stopped:
        return "error: stopped";
    case zu::ProcessResult::TooVerbose:
        return "error: output of more than 4 GiB - 1 bytes";
    case zu::ProcessResult::NotStarted:
        break;
    }
    return "error: cannot run the command (system error " + number + ")";
}

Reply runCommand(const AnswerOptions& options, const Request& request)
{
    zu::ProcessCommand command;
    command.line = options.commandLine;
    command.variables = {{"DM_REQUEST_TEXT", request.text},
                         {"DM_REQUEST_VALUE", std::to_string(request.value)},
                         {"DM_PIPE", options.pipeName}};
    command.input = request.data;
    command.inputBytes = request.dataSize;
    command.maxOutputBytes = kMaxDataBytes;
    zu::ProcessResult result = zu::runProcess(command, zu::Interrupt::get().getWaitHandle());
    if (!result.succeeded())
        return {describeFailure(result), {}};
    return {"ok", std::move(result.output)};
}

Reply readAnswerFile(const std::string& path)
{
    try {
        return {"ok", readWhole(path)};
    } catch (const ToolError& error) {
        return {std::string("error: ") + error.what(), {}};
    }
}

} // namespace

Reply makeReply(const AnswerOptions& options, const Request& request)
{
    if (!options.commandLine.empty())
        return runCommand(options, request);
    if (!options.filePath.empty())
        return readAnswerFile(options.filePath);
    return {options.text, {}};
}

} // namespace tool
