#include "tools/sandbox/Background.h"
#include "tools/sandbox/CommandGroups.h"
#include "tools/sandbox/Commands.h"
#include "tools/sandbox/Latin1.h"
#include "tools/sandbox/Pipes.h"

#include <zul/Timer.h>

#include <algorithm>
#include <charconv>
#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace sandbox {

namespace {

constexpr dm::uint32 kMaxAnswerBytes = 64 * 1024;
constexpr const char* kNoPipes = "there are no pipes: the game was started without them";

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
        output.print(kNoPipes);
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

void ask(Background& background, Output& output, std::function<std::string()> asking)
{
    const auto work = [&output, asking = std::move(asking)] {
        return Background::Finish([&output, answer = asking()] { output.print(answer); });
    };
    if (!background.aside(work))
        throw CommandError("too many calls are waiting for their answers");
}

int pingsOf(const CommandText& text)
{
    constexpr int kPings = 1000;
    constexpr int kMaxPings = 1000000;
    if (text.words.size() < 3)
        return kPings;
    int count = 0;
    const std::string& word = text.words[2];
    const char* const end = word.data() + word.size();
    const auto [stop, error] = std::from_chars(word.data(), end, count);
    if (error != std::errc() || stop != end || count < 1 || count > kMaxPings)
        throw CommandError("give a number of requests from 1 to " + std::to_string(kMaxPings));
    return count;
}

std::string ping(dm::CommunicationPipe& pipe, const std::string& text, int count)
{
    const zu::Timer timer;
    for (int i = 0; i < count; ++i)
        pipe.sendRequest(text.c_str(), 0, nullptr, 0, nullptr, nullptr, 0);
    const double seconds = timer.getElapsed();
    return "[" + toLatin1(pipe.getName()) + "] " +
           zu::str("%d round trips in %.3f s, %.1f us each", count, seconds, seconds / count * 1e6)
               .c_str();
}

} // namespace

void addPipeCommands(Commands& commands, Pipes& pipes, Background& background, Output& output)
{
    commands.add({"pipes", "", "Lists the pipes and who is at the other end.",
                  [&](const CommandText&) { listPipes(pipes, output); }});
    commands.add({"open", "PIPE", "Opens a pipe, to call whoever opens it at the other end.",
                  [&](const CommandText& text) {
                      if (text.words.empty() || !pipes.isOpen())
                          throw CommandError(pipes.isOpen() ? "which pipe?" : kNoPipes);
                      pipes.open(toUtf8(text.words[0]).c_str());
                  }});
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
                      ask(background, output, [&pipe, request = toUtf8(text.restFrom(1))] {
                          return call(pipe, request);
                      });
                  }});
    commands.add({"ping", "PIPE TEXT [COUNT]",
                  "Sends a request again and again, 1000 times unless told otherwise, each when "
                  "the one before is answered, and tells how long that took.",
                  [&](const CommandText& text) {
                      dm::CommunicationPipe& pipe = connectedPipe(pipes, text);
                      ask(background, output,
                          [&pipe, request = toUtf8(text.words[1]), count = pingsOf(text)] {
                              return ping(pipe, request, count);
                          });
                  }});
}

} // namespace sandbox
