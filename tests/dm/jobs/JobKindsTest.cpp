/// What each kind of job says to the other end, and to standard output.
#include "support/LogCollector.h"
#include "support/PipeFixture.h"

#include <dm/jobs.h>

#include <iostream>
#include <list>

using namespace support;

namespace {

/// A server whose far end is scripted, and its job manager.
class JobKinds : public PipeFixture
{
protected:
    ~JobKinds() override
    {
        dm::deinitCommunicationManagers(); // a batch that still waits ends
        if (isCapturing)
            std::cout << logged();
    }

    void attach() { peer.emplace(ScriptedPeer::attachTo(portOf(startServer()), "pipe")); }
    static dm::CommunicationPipe* pipe() { return dm::getCommunicationPipe("server", "pipe"); }

    /// Standard output is kept from here on until logged().
    void start(std::initializer_list<dm::Job*> batch)
    {
        for (dm::Job* job : batch)
            jobs.addJob(job);
        if (!std::exchange(isCapturing, true))
            testing::internal::CaptureStdout();
        jobs.runJobs(false);
    }
    void run(std::initializer_list<dm::Job*> batch)
    {
        start(batch);
        jobs.waitJobsToComplete();
    }
    std::string logged()
    {
        isCapturing = false;
        return testing::internal::GetCapturedStdout();
    }

    std::optional<ScriptedPeer> peer;
    dm::JobManager jobs{"server"};
    char buffer[64] = {};
    dm::uint32 size = 0;
    bool isCapturing = false;
};

} // namespace

TEST_F(JobKinds, SendNotifyLogsEachRetryAndNothingElse)
{
    const LogCollector log;
    dm::CommunicationPipe* late = startClient(unusedPort())->getPipe("pipe");
    start({new dm::JobSendNotify(late, "later", 6)});
    EXPECT_TRUE(waitUntil([&] { return log.lines().size() >= 3; }));
    late->getManager()->setHost("127.0.0.1", portOf(startServer()));
    jobs.waitJobsToComplete();
    const std::vector<std::string> lines = log.lines();
    for (const std::string& line : lines)
        EXPECT_EQ(line, "Manager \"server\" sent a notification \"later\" to pipe\n");
    run({new dm::JobSendNotify(late, "at once", 5)});
    EXPECT_EQ(log.lines(), lines);
    for (const auto& [text, value] : {std::pair("later", 6u), std::pair("at once", 5u)}) {
        dm::uint32 arrived = 0;
        EXPECT_EQ(takeNotify(pipe(), &arrived), text);
        EXPECT_EQ(arrived, value);
    }
}

TEST_F(JobKinds, SendRequestHasNumber0AndDeliversTheDataInSilence)
{
    attach();
    start({new dm::JobSendRequest("pipe", "read", buffer, sizeof buffer, &size),
           new dm::JobSendRequest("pipe", "forget", nullptr, 0)});
    for (const char* text : {"read", "forget"}) {
        const WireMessage asked = peer->expectWhole(WireMessage::Request);
        EXPECT_EQ(asked.text, text);
        EXPECT_EQ(asked.value, 0u);
        EXPECT_EQ(asked.total, 0u);
        peer->send(response("pipe", asked.id, "dropped", "bytes"));
    }
    jobs.waitJobsToComplete();
    EXPECT_STREQ(buffer, "bytes");
    EXPECT_EQ(size, 5u);
    EXPECT_EQ(logged(), "");
}

TEST_F(JobKinds, WaitNotifyTakesOneOfAnyTextButNone)
{
    attach();
    peer->send(notify("pipe", 0, ""));
    peer->send(notify("pipe", 1, "unexpected"));
    peer->send(notify("pipe", 2, "next"));
    run({new dm::JobWaitNotify("pipe", "expected")});
    EXPECT_EQ(logged(), "");
    EXPECT_EQ(takeNotify(pipe()), "next");
}

TEST_F(JobKinds, WaitRequestTakesOneOfAnyTextAndRespondAnswersIt)
{
    attach();
    constexpr zu::u64 kLowBitsZero = 0x1'0000'0000;
    const char data[] = "bytes";
    std::string expectedLog;
    dm::uint32 id = 0;
    for (const zu::u64 dataSize : {zu::u64{5}, zu::u64{0}, kLowBitsZero, kLowBitsZero + 2}) {
        start({new dm::JobWaitRequest("pipe", "expected"),
               new dm::JobRespond("pipe", "here", data, dataSize)});
        peer->send(request("pipe", id, "unexpected"));
        const WireMessage answer = peer->expectWhole(WireMessage::Response);
        EXPECT_EQ(answer.id, id++);
        EXPECT_EQ(answer.text, "here");
        EXPECT_EQ(answer.chunk, std::string(data, dataSize & 0xFFFFFFFF));
        jobs.waitJobsToComplete();
        expectedLog += "JobWaitRequest: Listening to pipe: pipe\n"
                       "JobRespond: Responding to pipe: pipe\n";
    }
    EXPECT_EQ(logged(), expectedLog);
}

TEST_F(JobKinds, WaitNotifyAndRequestCarriesTheNumberOn)
{
    attach();
    start({new dm::JobWaitNotifyAndRequest("PIPE", "expected", "read", buffer, sizeof buffer,
                                           &size)});
    peer->send(notify("pipe", 0, "", 41));
    peer->send(notify("pipe", 1, "unexpected", 42));
    const WireMessage asked = peer->expectWhole(WireMessage::Request);
    EXPECT_EQ(asked.text, "read");
    EXPECT_EQ(asked.value, 42u);
    peer->send(response("pipe", asked.id, "here", "bytes"));
    jobs.waitJobsToComplete();
    EXPECT_STREQ(buffer, "bytes");
    EXPECT_EQ(size, 5u);
    EXPECT_EQ(logged(), "JobManager \"server\" Waiting for Notify \"expected\"\n"
                        "JobManager \"server\" doing request: read\n"
                        "JobManager \"server\" got response: here from pipe: pipe \n");
}

TEST_F(JobKinds, WithoutItsManagerAJobDoesNothing)
{
    run({new dm::JobSendRequest("pipe", "?", buffer, sizeof buffer, &size),
         new dm::JobWaitNotify("pipe", "?"), new dm::JobWaitRequest("pipe", "?"),
         new dm::JobRespond("pipe", "?", nullptr, 0),
         new dm::JobWaitNotifyAndRequest("pipe", "?", "?", nullptr, 0)});
    EXPECT_EQ(logged(), "JobWaitRequest: Listening to pipe: pipe\n"
                        "JobRespond: Responding to pipe: pipe\n"
                        "JobManager \"server\" Waiting for Notify \"?\"\n");
    EXPECT_FALSE(dm::communicationPipeManagerExists("server"));
}

TEST_F(JobKinds, EveryWaitEndsWithThePipeManagerAndTheLogSinkGetsAllLines)
{
    run({}); // only to see what is printed
    const std::string muchData = someBytes(32 << 20);
    for (int round = 0; round < 10; ++round) {
        const LogCollector log;
        attach();
        dm::CommunicationPipe* lonely = startClient(unusedPort())->getPipe("pipe");
        peer->send(request("pipe", 0, "answer me"));
        auto stalled = ScriptedPeer::attachTo(portOf(pipe()->getManager()), "stalled");
        stalled.send(request("stalled", 0, "give much"));
        peer->send(openPipe("asking"));
        peer->send(notify("asking", 0, "go"));
        const std::initializer_list<std::vector<dm::Job*>> batches = {
            {new dm::JobSendNotify(lonely, "lost", 1)},
            {new dm::JobSendRequest("pipe", "first", nullptr, 0)},
            {new dm::JobWaitNotify("pipe", "never")},
            {new dm::JobWaitRequest("pipe", "answer me"), new dm::JobWaitRequest("never", "never")},
            {new dm::JobWaitNotifyAndRequest("pipe", "never", "never", nullptr, 0)},
            {new dm::JobWaitRequest("stalled", "give much"),
             new dm::JobRespond("stalled", "here", muchData.data(), muchData.size())},
            // The end that was asked lets it be.
            {new dm::JobWaitNotifyAndRequest("asking", "go", "second", nullptr, 0)},
        };
        std::list<dm::JobManager> managers;
        for (const auto& batch : batches) {
            dm::JobManager& manager = managers.emplace_back("server");
            for (dm::Job* job : batch)
                manager.addJob(job);
            manager.runJobs(false);
        }
        for (const char* line :
             {"sent a notification", "to pipe: never", "Notify \"never\"", "doing request: second"})
            ASSERT_TRUE(waitUntil([&] { return log.mentions(line); }));
        peer->expect(WireMessage::Request);
        stalled.expect(WireMessage::Response); // its first bytes, and then it reads no more
        dm::deinitCommunicationManagers();
        for (dm::JobManager& manager : managers)
            manager.waitJobsToComplete(); // what hangs fails by the time limit
    }
    EXPECT_EQ(logged(), "");
}
