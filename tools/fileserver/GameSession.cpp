#include "tools/fileserver/GameSession.h"

#include <dm/fs.h>
#include <zul/Thread.h>

#include <exception>
#include <stdexcept>

namespace fileserver {

namespace {

constexpr dm::uint32 kManagerId = 1;

// The pipe leaves the number alone when it has nothing, which tells "nothing" from an empty text.
constexpr dm::uint32 kUntouched = 0x6E6F6E65;

std::chrono::microseconds since(GameSession::Clock::time_point start)
{
    return std::chrono::duration_cast<std::chrono::microseconds>(GameSession::Clock::now() - start);
}

/// Where respondFrom gets the bytes of a long read.
struct ContentReader
{
    const AnswerContent& content;
    ServeStatistics& statistics;
    bool hasFailed = false;

    static bool read(void* context, dm::uint32 offset, void* buffer, dm::uint32 size)
    {
        auto& self = *static_cast<ContentReader*>(context);
        self.hasFailed = !self.content.read(offset, buffer, size);
        if (self.hasFailed)
            return false;
        self.statistics.countRead(size);
        return true;
    }
};

} // namespace

GameSession::GameSession(unsigned sessionNumber, const ServeContext& sharedContext,
                         dm::uint32 mainPort)
    : number(sessionNumber)
    , context(sharedContext)
    , fallbackPort(mainPort)
    , managerName("dm serve game " + std::to_string(sessionNumber))
    , statistics(&sharedContext.statistics)
{
}

GameSession::~GameSession()
{
    close();
    if (worker.joinable())
        worker.join();
    dm::deinitCommunicationManager(managerName.c_str());
}

bool GameSession::open()
{
    dm::CommunicationPipeManager* const manager = dm::initCommunicationManagerAsServer(
        managerName.c_str(), 0, kManagerId, false,
        {this, [](void* self, dm::CommunicationPipeManager* own) {
             static_cast<GameSession*>(self)->sendAway(*own);
         }});
    if (dm::getConnectionStatus(managerName.c_str()).state != dm::ConnectionStatus::Connected)
        return false;
    manager->getHost(&port);
    // By way of the create callback: nobody must get a word in before the pipe's own are in place.
    manager->setPipeCreateCallback(
        {this, [](void* self, dm::CommunicationPipeManager*, dm::CommunicationPipe* created) {
             static_cast<GameSession*>(self)->listenTo(*created);
         }});
    pipe = manager->getPipe(dm::NetworkFileSystem::kPipeName);
    manager->setPipeCreateCallback({});
    workerEnded = false;
    try {
        worker = std::thread([this] { work(); });
    } catch (...) {
        workerEnded = true;
        throw;
    }
    return true;
}

bool GameSession::isOver(Clock::time_point now, bool isCrowded) const
{
    if (pipe == nullptr || workerEnded)
        return true;
    const unsigned come = connections;
    if (come == 0)
        return now - made > (isCrowded ? kCrowdedComeLimit : kComeLimit);
    return come > 1 || !pipe->isConnected();
}

void GameSession::close()
{
    if (closing.exchange(true))
        return;
    arrived.set();
    dm::closeCommunicationManager(managerName.c_str()); // out of respond
}

bool GameSession::describe(GameTotals& out)
{
    {
        const std::lock_guard lock(mutex);
        out.game = game;
    }
    out.totals = statistics.getTotals();
    return out.game.number != 0;
}

// The manager's thread.

/// One game a session: whoever comes after it has lost the way.
void GameSession::sendAway(dm::CommunicationPipeManager& own)
{
    if (visitors++ > 0)
        own.setRedirect(dm::getReachedAddress(own).c_str(), fallbackPort);
}

void GameSession::listenTo(dm::CommunicationPipe& created)
{
    created.setConnectionCallback({this, [](void* self, dm::CommunicationPipe* connected) {
                                       static_cast<GameSession*>(self)->noteConnection(*connected);
                                   }});
    created.setRequestCallback({this, [](void* self, dm::CommunicationPipe*) {
                                    static_cast<GameSession*>(self)->noteRequest();
                                }});
}

void GameSession::noteConnection(dm::CommunicationPipe& connected)
{
    {
        // Requests of a connection before are forgotten by the pipe too. Were they kept here, one
        // would later stand for a request whose data has only begun to arrive.
        const std::lock_guard lock(mutex);
        announced = 0;
        if (connections++ > 0)
            return;
        game = {number, connected.getManager()->getRemoteName(),
                connected.getConnectedIP().c_str()};
    }
    statistics.countGame();
    context.log.came(game);
}

void GameSession::noteRequest()
{
    {
        const std::lock_guard lock(mutex);
        ++announced;
    }
    arrived.set();
}

// The worker.

void GameSession::work()
{
    zu::setThreadName(zu::currentThreadId(), managerName.c_str());
    try {
        Taken taken;
        while (!closing) {
            arrived.wait();
            while (!closing && takeRequest(taken))
                answer(taken);
        }
    } catch (const std::exception& exception) {
        // As for want of memory. The game may come again.
        context.log.warn(&game, std::string("is sent away: ") + exception.what());
        statistics.countWarning();
    }
    workerEnded = true;
}

bool GameSession::takeRequest(Taken& taken)
{
    const std::lock_guard lock(mutex);
    if (announced == 0)
        return false;
    --announced;
    dm::uint32 value = kUntouched;
    taken.connection = connections;
    taken.text = pipe->receiveRequest(&value);
    if (!dm::isRequestWhole(*pipe))
        throw std::runtime_error("it sends requests with parts of their data missing");
    return !taken.text.empty() || value != kUntouched;
}

void GameSession::answer(const Taken& taken)
{
    const bool isTold = context.log.tellsCommands();
    const Clock::time_point start = isTold ? Clock::now() : Clock::time_point();
    CommandReport report;
    report.wantsReason = isTold;
    const Answer answer = run(taken, report);
    if (report.isDropped)
        return;
    count(report, answer);
    const bool sent = send(answer, taken);
    const std::string_view line(taken.text.c_str(), taken.text.length());
    if (isTold)
        context.log.command(game, line, report, sent, since(start));
}

Answer GameSession::run(const Taken& taken, CommandReport& report)
{
    void* data = nullptr;
    dm::uint32 size = 0;
    pipe->getRequestData(&data, &size);
    try {
        return context.runner.run(
            {taken.text.c_str(), taken.text.length()}, data, size,
            [&] { return isWanted(taken.connection); }, report);
    } catch (const std::exception& exception) {
        // Asked again it would go wrong again: the protocol's no.
        report = {};
        report.warning = std::string("cannot be answered: ") + exception.what();
        Answer no;
        no.text = "false";
        return no;
    }
}

bool GameSession::isWanted(unsigned connection) const
{
    return !closing && connections == connection && pipe->isConnected();
}

void GameSession::count(const CommandReport& report, const Answer& answer)
{
    statistics.countCommand();
    if (!report.warning.empty()) {
        statistics.countWarning();
        context.log.warn(&game, report.warning);
    }
    if (!report.succeeded || report.command == nullptr)
        return;
    const bool isStart = report.arguments.position == 0;
    if (report.command->id == CommandId::Read) {
        if (isStart)
            statistics.countFileRead();
        if (answer.content == nullptr)
            statistics.countRead(report.bytes);
    } else if (report.command->id == CommandId::Write) {
        if (isStart)
            statistics.countFileWritten();
        statistics.countWritten(report.bytes);
    }
}

/// Whether the answer has left whole, as far as can be told.
bool GameSession::send(const Answer& answer, const Taken& taken)
{
    if (answer.content != nullptr) {
        ContentReader reader{*answer.content, statistics};
        const bool sent = dm::respondFrom(*pipe, answer.text.c_str(), answer.content->size,
                                          {&reader, ContentReader::read});
        // The game asks again, and must not get into a circle.
        if (reader.hasFailed)
            context.runner.noteUnreadable({taken.text.c_str(), taken.text.length()});
        return sent;
    }
    const bool wasWanted = isWanted(taken.connection); // a game may leave as soon as it has it
    const bool hasData = !answer.data.empty();
    pipe->respond(answer.text.c_str(), hasData ? answer.data.data() : nullptr,
                  static_cast<dm::uint32>(answer.data.size()));
    return wasWanted;
}

} // namespace fileserver
