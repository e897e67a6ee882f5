#include "tools/sandbox/Background.h"
#include "tools/sandbox/CommandGroups.h"
#include "tools/sandbox/Commands.h"
#include "tools/sandbox/Latin1.h"
#include "tools/sandbox/Pipes.h"

#include <algorithm>
#include <string>
#include <vector>

namespace sandbox {

namespace {

constexpr dm::uint32 kMaxAnswerBytes = 64 * 1024;

dm::CommunicationPipe& connectedPipe(const Pipes& pipes, const CommandText& text)
{
    if (text.words.size() < 2)
        throw CommandError("which pipe, and which text?");
    dm::CommunicationPipe* const pipe = pipes.find(toUtf8(text.words[0]));
    if (!pipe)
        throw CommandError("there is no pipe \"" + text.words[0] + "\"; pipes lists them");
    if (!pipe->isConnected())
        throw CommandError("nobody is at the other end of \"" + text.words[0] + '"');
    return *pipe;
}

void listPipes(const Pipes& pipes, Output& output)
{
    if (!pipes.isOpen()) {
        output.print("there are no pipes: the game was started without a port for them");
        return;
    }
    for (dm::CommunicationPipe* const pipe : pipes.list()) {
        std::string name = toLatin1(pipe->getName());
        name.resize(std::max<size_t>(name.size() + 1, 20), ' ');
        const zu::InplaceString<128> address = pipe->getConnectedIP();
        output.print("  " + name +
                     (pipe->isConnected() ? "connected with " + std::string(address.c_str())
                                          : "not connected"));
    }
}

std::string call(dm::CommunicationPipe& pipe, const std::string& text)
{
    std::vector<char> data(kMaxAnswerBytes);
    dm::uint32 size = 0;
    const zu::InplaceString<128> answer =
        pipe.sendRequest(text.c_str(), 0, data.data(), kMaxAnswerBytes, &size, nullptr, 0);
    std::string shown =
        "[" + toLatin1(pipe.getName()) + "] " + toLatin1({answer.c_str(), answer.length()});
    if (size > 0)
        shown += " (" + std::to_string(size) + " bytes)\n" +
                 toLatin1({data.data(), std::min(size, kMaxAnswerBytes)});
    return shown;
}

} // namespace

void addPipeCommands(Commands& commands, Pipes& pipes, Background& background, Output& output)
{
    commands.add({"pipes", "", "Lists the pipes and who is at the other end.",
                  [&](const CommandText&) { listPipes(pipes, output); }});
    commands.add({"notify", "PIPE TEXT", "Sends a notification.", [&](const CommandText& text) {
                      dm::CommunicationPipe& pipe = connectedPipe(pipes, text);
                      if (!pipe.sendNotify(toUtf8(text.restFrom(1)).c_str(), 0))
                          throw CommandError("the other end does not read");
                      output.print("sent");
                  }});
    commands.add({"call", "PIPE TEXT",
                  "Sends a request. The answer is printed when it comes; the game goes on.",
                  [&](const CommandText& text) {
                      dm::CommunicationPipe& pipe = connectedPipe(pipes, text);
                      const auto work = [&pipe, &output, request = toUtf8(text.restFrom(1))] {
                          return Background::Finish(
                              [&output, answer = call(pipe, request)] { output.print(answer); });
                      };
                      if (!background.aside(work))
                          throw CommandError("too many calls are waiting for their answers");
                  }});
}

} // namespace sandbox
