#include "tools/sandbox/Pipes.h"

#include "tools/sandbox/Latin1.h"
#include "tools/sandbox/Variables.h"

#include <algorithm>
#include <chrono>
#include <utility>

namespace sandbox {

namespace {

constexpr std::chrono::milliseconds kLastAnswerTime(500);

}

Pipes::Pipes(Output& words, RunLine runner)
    : output(words)
    , runLine(std::move(runner))
{
}

Pipes::~Pipes() { end(); }

void Pipes::end()
{
    close();
    if (server.joinable())
        server.join();
    if (manager)
        dm::deinitCommunicationManager(kManagerName);
    manager = nullptr;
}

bool Pipes::listen(int port)
{
    // In place before the first client can come: what it opens is not to be missed.
    const dm::ClientConnectionCallback hear{
        this, [](void* context, dm::CommunicationPipeManager* opened) {
            opened->setPipeCreateCallback({context, [](void* self, dm::CommunicationPipeManager*,
                                                       dm::CommunicationPipe* pipe) {
                                               static_cast<Pipes*>(self)->addPipe(pipe);
                                           }});
        }};
    runsLines = true;
    dm::CommunicationPipeManager* const opened =
        dm::initCommunicationManagerAsServer(kManagerName, port, 1, true, hear);
    if (dm::getConnectionStatus(kManagerName).state != dm::ConnectionStatus::Connected) {
        dm::deinitCommunicationManager(kManagerName);
        return false;
    }
    start(opened);
    manager->getPipe(kConsolePipe);
    return true;
}

void Pipes::join(const std::string& host, int port)
{
    runsLines = true;
    // It learns the address last: whoever is in the hub already may have something to say at once.
    start(dm::initCommunicationManagerAsClient(kManagerName, "", port));
    manager->getPipe(kConsolePipe);
    manager->setHost(host.c_str(), static_cast<dm::uint32>(port));
}

void Pipes::connect(const std::string& host, int port)
{
    start(dm::initCommunicationManagerAsClient(kManagerName, host.c_str(), port));
}

void Pipes::start(dm::CommunicationPipeManager* opened)
{
    manager = opened;
    manager->setPipeCreateCallback(
        {this, [](void* self, dm::CommunicationPipeManager*, dm::CommunicationPipe* pipe) {
             static_cast<Pipes*>(self)->addPipe(pipe);
         }});
    server = std::thread([this] { serve(); });
}

// Whoever asked for quit is told of it, but the game does not wait for a tool that does not read.
void Pipes::close()
{
    {
        std::unique_lock lock(mutex);
        if (isOver)
            return;
        changed.wait_for(lock, kLastAnswerTime, [this] { return !isResponding; });
        isOver = true;
    }
    changed.notify_all();
    if (!manager)
        return;
    dm::flushCommunicationManager(kManagerName, static_cast<dm::uint32>(kLastAnswerTime.count()));
    dm::closeCommunicationManager(kManagerName);
}

unsigned Pipes::getPort() const
{
    dm::uint32 port = 0;
    if (manager)
        manager->getHost(&port);
    return port;
}

std::vector<dm::CommunicationPipe*> Pipes::list() const
{
    const std::lock_guard lock(mutex);
    return pipes;
}

dm::CommunicationPipe* Pipes::find(const std::string& name) const
{
    const std::string wanted = toLower(name);
    for (dm::CommunicationPipe* const pipe : list()) {
        if (toLower(pipe->getName()) == wanted)
            return pipe;
    }
    return nullptr;
}

void Pipes::poll()
{
    std::unique_lock lock(mutex);
    while (!questions.empty() && !isOver) {
        const std::string line = questions.front()->line;
        lock.unlock();
        output.print("[" + std::string(kConsolePipe) + "] " + line);
        std::string text = runLine(line);
        lock.lock();
        if (questions.empty())
            break; // its thread gave it up meanwhile
        questions.front()->answer = std::move(text);
        questions.front()->isAnswered = true;
        isResponding = true;
        questions.pop_front();
        changed.notify_all();
    }
}

void Pipes::addPipe(dm::CommunicationPipe* pipe)
{
    {
        const std::lock_guard lock(mutex);
        if (std::find(pipes.begin(), pipes.end(), pipe) == pipes.end())
            pipes.push_back(pipe);
    }
    // Not the file server's pipe, where others listen for this.
    if (runsLines && toLower(pipe->getName()) != kConsolePipe)
        pipe->setConnectionCallback({this, [](void* self, dm::CommunicationPipe* connected) {
                                         static_cast<Pipes*>(self)->output.print(
                                             "[" + toLatin1(connected->getName()) + "] is open");
                                     }});
    pipe->setNotifyCallback({this, [](void* self, dm::CommunicationPipe* from) {
                                 static_cast<Pipes*>(self)->printNotification(*from);
                             }});
    pipe->setRequestCallback({this, [](void* self, dm::CommunicationPipe* from) {
                                  static_cast<Pipes*>(self)->noteRequest(from);
                              }});
}

void Pipes::printNotification(dm::CommunicationPipe& pipe) const
{
    dm::uint32 value = 0;
    const zu::InplaceString<128> text = pipe.receiveNotify(&value);
    output.print("[" + toLatin1(pipe.getName()) + "] " + toLatin1({text.c_str(), text.length()}) +
                 " (" + std::to_string(value) + ")");
}

void Pipes::noteRequest(dm::CommunicationPipe* pipe)
{
    {
        const std::lock_guard lock(mutex);
        asked.push_back(pipe);
    }
    changed.notify_all();
}

void Pipes::serve()
{
    std::unique_lock lock(mutex);
    for (;;) {
        changed.wait(lock, [this] { return isOver || !asked.empty(); });
        if (isOver)
            return;
        dm::CommunicationPipe* const pipe = asked.front();
        asked.pop_front();
        lock.unlock();
        answer(*pipe);
        lock.lock();
        isResponding = false;
        changed.notify_all();
    }
}

void Pipes::answer(dm::CommunicationPipe& pipe)
{
    const zu::InplaceString<128> text = pipe.receiveRequest(nullptr);
    if (text.empty())
        return; // it came over a connection that is gone
    if (!runsLines || toLower(pipe.getName()) != kConsolePipe) {
        pipe.respond(runsLines ? "error: ask the pipe console" : "error: no lines are run here",
                     nullptr, 0);
        return;
    }
    Question question;
    question.line = toLatin1({text.c_str(), text.length()});
    if (!ask(question))
        return;
    const std::string bytes = toUtf8(question.answer);
    pipe.respond("ok", bytes.data(), static_cast<dm::uint32>(bytes.size()));
}

/// False when the game ends first.
bool Pipes::ask(Question& question)
{
    std::unique_lock lock(mutex);
    questions.push_back(&question);
    changed.wait(lock, [&] { return isOver || question.isAnswered; });
    questions.clear(); // this thread's only one
    return question.isAnswered;
}

} // namespace sandbox
