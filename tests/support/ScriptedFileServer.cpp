#include "support/ScriptedFileServer.h"

#include <stdexcept>
#include <utility>

namespace support {

std::string listOf(const std::vector<std::string>& texts)
{
    std::string list;
    for (const std::string& text : texts)
        list.append(text.c_str(), text.size() + 1);
    return list;
}

ScriptedFileServer::ScriptedFileServer()
    : thread([this] { run(); })
{
}

ScriptedFileServer::~ScriptedFileServer()
{
    stopping = true;
    const ScriptedPeer wakeUp = ScriptedPeer::connectTo(port());
    thread.join();
}

void ScriptedFileServer::answer(const std::string& command, const Answer& answer)
{
    std::lock_guard guard(lock);
    withheld.erase(command);
    answers[command] = answer;
}

void ScriptedFileServer::answerOnce(const std::string& command, const Answer& answer)
{
    std::lock_guard guard(lock);
    onceAnswers[command] = answer;
}

void ScriptedFileServer::answerList(const std::string& command, std::vector<std::string> entries)
{
    entries.insert(entries.begin(), std::to_string(entries.size()));
    answer(command, {"", listOf(entries)});
}

void ScriptedFileServer::withhold(const std::string& command)
{
    std::lock_guard guard(lock);
    withheld.insert(command);
}

void ScriptedFileServer::dropAt(const std::string& command)
{
    std::lock_guard guard(lock);
    dropping.insert(command);
}

std::vector<std::string> ScriptedFileServer::takeCommands()
{
    std::lock_guard guard(lock);
    return std::exchange(commands, {});
}

size_t ScriptedFileServer::countOf(const std::string& command)
{
    std::lock_guard guard(lock);
    return counts[command];
}

std::string ScriptedFileServer::writtenData()
{
    std::lock_guard guard(lock);
    return written;
}

void ScriptedFileServer::follow(std::vector<Exchange> exchanges)
{
    std::lock_guard guard(lock);
    script.assign(exchanges.begin(), exchanges.end());
    follows = true;
}

std::string ScriptedFileServer::whereItDiffers()
{
    std::lock_guard guard(lock);
    return !difference.empty() || script.empty() ? difference
                                                 : "missing: " + script.front().command;
}

/// Under the lock.
Answer ScriptedFileServer::nextInScript(const WireMessage& asked)
{
    if (difference.empty() && (script.empty() || asked.text != script.front().command ||
                               asked.chunk != script.front().data))
        difference = "asked " + asked.text + " instead of " +
                     (script.empty() ? "nothing" : script.front().command);
    if (!difference.empty())
        return {};
    Answer answer = std::move(script.front().answer);
    script.pop_front();
    return answer;
}

void ScriptedFileServer::run()
{
    while (!stopping) {
        try {
            ScriptedPeer peer = listener.accept();
            if (stopping)
                return; // it is the wake-up
            peer.welcomeAndOpen("fileserver");
            for (;;)
                serve(peer);
        } catch (const std::runtime_error&) {
            // Closed by the other end, or dropped: the next one.
        }
    }
}

void ScriptedFileServer::serve(ScriptedPeer& peer)
{
    const WireMessage asked = peer.expectWhole(WireMessage::Request);
    Answer answer;
    {
        std::lock_guard guard(lock);
        commands.push_back(asked.text);
        ++counts[asked.text];
        if (asked.text.starts_with("write"))
            written = asked.chunk;
        if (dropping.erase(asked.text) > 0)
            throw std::runtime_error("dropped");
        if (withheld.contains(asked.text))
            return;
        const auto once = onceAnswers.extract(asked.text);
        answer = follows ? nextInScript(asked) : once ? once.mapped() : answers[asked.text];
    }
    peer.send(response("fileserver", asked.id, answer.text, answer.data));
}

} // namespace support
