#include <zul/Interrupt.h>
#include <zul/Process.h>

#include <csignal>
#include <gtest/gtest.h>
#include <thread>

namespace {

zu::ProcessCommand shell(const std::string& line)
{
    zu::ProcessCommand command;
    command.line = line;
    return command;
}

TEST(Process, ReportsHowTheCommandEnded)
{
    EXPECT_EQ(zu::runProcess(shell("exit 7")).exitCode, 7);
    const zu::ProcessResult killed = zu::runProcess(shell("kill -9 $$"));
    EXPECT_EQ(killed.end, zu::ProcessResult::Killed);
    EXPECT_EQ(killed.exitCode, 9);
    const std::string unread(1024 * 1024, 'x');
    zu::ProcessCommand command = shell("exec 0<&-; yes");
    command.input = unread.data();
    command.inputBytes = unread.size();
    command.maxOutputBytes = 100 * 1000;
    EXPECT_EQ(zu::runProcess(command).end, zu::ProcessResult::TooVerbose);
}

TEST(Process, IsKilledWithAllItStartedWhenStopped)
{
    zu::PollableEvent stop;
    std::thread stopper([&] { stop.set(); });
    // The background job holds the output open: waiting for it would take a quarter of an hour.
    const zu::ProcessResult result =
        zu::runProcess(shell("sleep 900 & sleep 900"), stop.getWaitHandle());
    stopper.join();
    EXPECT_EQ(result.end, zu::ProcessResult::Stopped);
}

TEST(Interrupt, WakesAWaiterByNotifyAndStaysRaisedAfterASignal)
{
    constexpr zu::u32 kLongMs = 60 * 1000;
    zu::Interrupt& interrupt = zu::Interrupt::get();
    interrupt.notify(); // kept for the wait that follows
    EXPECT_FALSE(interrupt.waitFor(kLongMs));

    std::raise(SIGTERM);
    EXPECT_TRUE(interrupt.waitFor(kLongMs));
    const zu::WaitHandle handle = interrupt.getWaitHandle();
    EXPECT_EQ(zu::waitAny(&handle, 1, kLongMs), 0);
    EXPECT_EQ(zu::waitAny(&handle, 1, kLongMs), 0);
}

} // namespace
