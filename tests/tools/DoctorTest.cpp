#include "support/ScriptedPeer.h"
#include "tools/ServeFixture.h"
#include "tools/doctor/Diagnosis.h"

#include <future>
#include <gtest/gtest.h>
#include <sstream>
#include <unistd.h>

using doctor::Cause;
using doctor::Observation;

namespace {

/// Says a few bytes to the first who connects, and stays or hangs up.
class Stranger
{
public:
    Stranger(std::string words, bool stays)
        : peer(std::async(std::launch::async, [this, words, stays] {
            support::ScriptedPeer accepted = server.accept();
            accepted.sendRaw(words);
            if (!stays)
                accepted.close();
            return accepted;
        }))
    {
    }
    std::uint32_t port() const { return server.port(); }

private:
    support::ScriptedServer server;
    std::future<support::ScriptedPeer> peer;
};

class Doctor : public ServeFixture
{
protected:
    /// The first line names the cause with these parts, the second says what to do.
    void expectDiagnosis(int exitCode, const Words& parts, const Words& options = {},
                         const char* timeout = "30s")
    {
        const Outcome outcome = dm(Words{"doctor", address, "--timeout", timeout} + options);
        std::istringstream lines(outcome.output);
        std::string cause;
        std::string advice;
        std::getline(lines, cause);
        std::getline(lines, advice);
        EXPECT_EQ(outcome.exitCode, exitCode) << outcome.output << outcome.errors;
        EXPECT_TRUE(hasAll(cause, parts)) << cause << testing::PrintToString(parts);
        EXPECT_GT(advice.size(), 10u);
        EXPECT_EQ(outcome.errors, "");
    }
};

TEST_F(Doctor, NamesWhatIsWrongWhereOursListen)
{
    const std::string own = "process " + std::to_string(::getpid());
    listen();
    const std::string tool = "(dm, process " + std::to_string(listener->id()) + ")";
    expectDiagnosis(0, {address + " is healthy: a server of pipes", tool, "'CHAT'"}, {"CHAT"});
    expectDiagnosis(8, {address, tool, "has no pipe 'chats'"}, {"chats"});
    expectDiagnosis(3, {address, tool, "is a server of pipes, not a debug monitor"},
                    {"--expect", "monitor"});
    address = "127.0.0.2:" + portOf(address);
    expectDiagnosis(3, {"loopback only", tool, address});
    address = "127.0.0.1:" + portOf(address);
    listener->pause();
    expectDiagnosis(8, {address, "is stalled", "dm, process", "halted"}, {}, "1s");

    const support::ScriptedServer deaf;
    aimAt(deaf.port());
    expectDiagnosis(8, {address, own, "is stalled", "says nothing"}, {}, "1s");

    const Stranger newer(support::frameOf(support::welcome(0, 3).payload()), true);
    aimAt(newer.port());
    expectDiagnosis(5, {address, own, "version 3", "version 2"});

    aimAtNobody();
    expectDiagnosis(3, {"nothing listens on " + address});
}

TEST_F(Doctor, TellsServersApartAndFromStrangers)
{
    const Child game = startGame();
    expectDiagnosis(0, {"a debug monitor", "process " + std::to_string(game->id())});
    expectDiagnosis(3, {"a debug monitor, not a server of pipes"}, {"chat"});
    serve();
    expectDiagnosis(0, {"a file server"}, {"--expect", "files"});
    expectDiagnosis(0, {"a file server", "the pipe 'fileserver'"}, {"fileserver"});
    expectDiagnosis(8, {"no pipe 'fileservers'"}, {"fileservers"});

    const Child hub = startListening({"hub", "0"});
    expectDiagnosis(0, {"a hub"}, {"--expect", "pipes"});
    expectDiagnosis(0, {"a hub", "the pipe 'chat'"}, {"chat"});

    const Stranger web("HTTP/1.1 400 Bad Request\r\n\r\n", false);
    aimAt(web.port());
    expectDiagnosis(3, {"is taken by", "process " + std::to_string(::getpid()), "none of ours"});
    const Stranger shy("", false);
    aimAt(shy.port());
    expectDiagnosis(3, {"is taken by"});
}

TEST_F(Doctor, LooksAtTheUsualPortsAndPrintsJson)
{
    const Outcome outcome = dm({"doctor", "--format", "json"});
    std::istringstream lines(outcome.output);
    for (const char* usual : {"3510", "3600", "3500", "3126"}) {
        std::string line;
        ASSERT_TRUE(std::getline(lines, line));
        const auto seen = nlohmann::json::parse(line);
        EXPECT_EQ(seen["address"], std::string("127.0.0.1:") + usual);
        EXPECT_FALSE(seen["finding"].get<std::string>().empty());
    }
    listen();
    const auto seen = nlohmann::json::parse(dm({"doctor", address, "--format", "json"}).output);
    EXPECT_EQ(seen["cause"], "healthy");
    EXPECT_EQ(seen["found"], "pipes");
    EXPECT_EQ(seen["pid"], listener->id());
    for (const Words& mistake : {Words{"nowhere"}, {"--expect", "hub"}, {address, "--expect", "x"}})
        EXPECT_EQ(dm(Words{"doctor"} + mistake).exitCode, 2);
}

/// What cannot be had on one machine.
TEST(Diagnosis, JudgesOtherMachines)
{
    doctor::Target target;
    target.address = {"192.168.0.10", 3600};
    Observation seen;
    const auto diagnosis = [&] { return diagnose(target, doctor::Service::Any, seen); };
    using Reach = Observation::Reach;
    for (const Reach reach : {Reach::Failed, Reach::NoAnswer}) {
        seen.reach = reach;
        EXPECT_EQ(diagnosis().cause, Cause::Unreachable);
    }
    seen.isOwnMachine = true;
    EXPECT_EQ(diagnosis().cause, Cause::Stalled);
    seen.reach = Reach::Refused;
    seen.listeners = {{"10.0.0.1", 7, "game", false}};
    EXPECT_EQ(diagnosis().cause, Cause::OtherAddress);

    seen.isOwnMachine = false;
    seen.reach = Reach::Connected;
    seen.reached = target.address.host;
    EXPECT_EQ(diagnosis().process.processId, 0u) << "who listens elsewhere has not answered";
    seen.speech = Observation::Speech::Pipes;
    seen.version = dm::kPipeProtocolVersion;
    seen.isRedirecting = true;
    seen.redirect = {"127.0.0.1", 3601};
    EXPECT_EQ(diagnosis().cause, Cause::LoopbackOnly);
    seen.redirect = {};
    seen.isSentBack = true;
    EXPECT_EQ(diagnosis().cause, Cause::Full);
}

} // namespace
