#include "support/ScriptedFileServer.h"

#include <stdexcept>

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
    locked(command, [&](Behaviour& behaviour) { behaviour.answer = answer; });
}

void ScriptedFileServer::answerOnce(const std::string& command, const Answer& answer)
{
    locked(command, [&](Behaviour& behaviour) { behaviour.once.push_back(answer); });
}

void ScriptedFileServer::answerList(const std::string& command, std::vector<std::string> entries)
{
    entries.insert(entries.begin(), std::to_string(entries.size()));
    answer(command, {"", listOf(entries)});
}

void ScriptedFileServer::withhold(const std::string& command)
{
    locked(command, [](Behaviour& behaviour) { behaviour.withholds = true; });
}

void ScriptedFileServer::dropAt(const std::string& command)
{
    locked(command, [](Behaviour& behaviour) { behaviour.dropsOnce = true; });
}

std::vector<std::string> ScriptedFileServer::takeCommands()
{
    const std::lock_guard guard(lock);
    return std::exchange(commands, {});
}

size_t ScriptedFileServer::countOf(const std::string& command)
{
    return locked(command, [](Behaviour& behaviour) { return behaviour.count; });
}

std::string ScriptedFileServer::writtenData()
{
    const std::lock_guard guard(lock);
    return written;
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
        const std::lock_guard guard(lock);
        Behaviour& behaviour = behaviours[asked.text];
        commands.push_back(asked.text);
        ++behaviour.count;
        if (asked.text.starts_with("write"))
            written += asked.chunk;
        if (std::exchange(behaviour.dropsOnce, false))
            throw std::runtime_error("dropped");
        if (behaviour.withholds)
            return;
        answer = behaviour.once.empty() ? behaviour.answer : behaviour.once.front();
        if (!behaviour.once.empty())
            behaviour.once.pop_front();
    }
    peer.send(response("fileserver", asked.id, answer.text, answer.data));
}

} // namespace support
