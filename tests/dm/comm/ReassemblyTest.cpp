#include "dm/comm/IncomingNotifications.h"
#include "dm/comm/IncomingRequests.h"
#include "support/ReceivedPacket.h"
#include "support/WireMessage.h"

#include <gtest/gtest.h>

using namespace support;
using RequestOutcome = dm::IncomingRequests::Outcome;
using NotifyOutcome = dm::IncomingNotifications::Outcome;

namespace {

/// Decodes as if it had been received, and hands over.
template <typename Message, typename Incoming>
auto feedTo(Incoming& incoming, const std::string& payload,
            const std::shared_ptr<dm::IncomingBudget>& budget, typename Incoming::Outcome malformed)
{
    ReceivedPacket packet(payload);
    Message message;
    dm::readKind(*packet);
    return dm::decode(*packet, (*packet).getSize(), message)
               ? incoming.accept(message, *packet, budget)
               : malformed;
}

class RequestReassembly : public testing::Test
{
protected:
    RequestOutcome feed(const std::string& payload)
    {
        return feedTo<dm::RequestMessage>(requests, payload, budget, RequestOutcome::Dropped);
    }
    RequestOutcome feed(const WireMessage& wire) { return feed(wire.payload()); }
    RequestOutcome feed(std::uint32_t id) { return feed(request("pipe", id, "again")); }
    std::string takenData()
    {
        dm::IncomingRequest& taken = requests.current();
        return {reinterpret_cast<const char*>(taken.data.data()), taken.dataSize};
    }

    std::shared_ptr<dm::IncomingBudget> budget = std::make_shared<dm::IncomingBudget>();
    dm::IncomingRequests requests;
    const WireMessage whole = request("pipe", 0, "write", "0123456789");
};

class NotifyReassembly : public testing::Test
{
protected:
    NotifyOutcome feed(const WireMessage& wire)
    {
        return feedTo<dm::NotifyMessage>(notifications, wire.payload(), budget,
                                         NotifyOutcome::Refused);
    }
    std::string take()
    {
        zu::InplaceString<128> text;
        return notifications.takeOldest(text, nullptr) ? text.c_str() : "(none)";
    }

    std::shared_ptr<dm::IncomingBudget> budget = std::make_shared<dm::IncomingBudget>();
    dm::IncomingNotifications notifications;
};

} // namespace

TEST_F(RequestReassembly, DropsChunksOutsideTheAnnouncedSize)
{
    const struct
    {
        std::uint32_t total, offset, claimed;
        const char* lie;
    } lies[] = {
        {10, 3, 8, "one byte past the end"},
        {10, 11, 1, "all past the end"},
        {4, 0xFFFFFFFC, 8, "wraps to the total"},
        {0, 0, 8, "chunk of nothing"},
        {10, 0, 9, "more than the packet holds"},
        {1000, 900, 8, "size changed on the way"},
        {0xFFFFFFFF, 0xFFFFFFF0, 8, "size changed to the largest"},
    };
    EXPECT_EQ(feed(piece(whole, 0, 2)), RequestOutcome::Stored);
    for (const auto& [total, offset, claimed, lie] : lies) {
        WireMessage message = piece(whole, 0, 8);
        message.total = total;
        message.offset = offset;
        message.claimedChunk = claimed;
        EXPECT_EQ(feed(message), RequestOutcome::Dropped) << lie;
    }
    EXPECT_EQ(feed(piece(whole, 2, 8)), RequestOutcome::Completed) << "and is none the worse";
    ASSERT_TRUE(requests.takeOldest());
    EXPECT_EQ(takenData(), whole.chunk);
}

TEST_F(RequestReassembly, LastOrEmptyChunkCompletesAndShowsZerosWhereNothingArrived)
{
    EXPECT_EQ(feed(piece(whole, 6, 4)), RequestOutcome::Completed);
    EXPECT_EQ(feed(piece(request("pipe", 1, "", "0123456789"), 0, 0)), RequestOutcome::Completed);
    const std::string withSizes = request("pipe", 2, "bare").payload();
    EXPECT_EQ(feed(withSizes.substr(0, withSizes.size() - 12)), RequestOutcome::Completed);
    for (const std::string& data :
         {std::string(6, '\0') + "6789", std::string(10, '\0'), std::string()})
    {
        ASSERT_TRUE(requests.takeOldest());
        EXPECT_EQ(takenData(), data);
        requests.takeCurrent();
    }
}

TEST_F(RequestReassembly, DropsRepeatsUntilANewConnectionAndWrapsAround)
{
    EXPECT_EQ(feed(5), RequestOutcome::Completed);
    EXPECT_EQ(feed(5), RequestOutcome::Duplicate);
    EXPECT_EQ(feed(3), RequestOutcome::Duplicate);
    requests.reset();
    EXPECT_FALSE(requests.takeOldest());
    for (const std::uint32_t id : {3u, 0xFFFFFFFEu, 0xFFFFFFFFu, 0u})
        EXPECT_EQ(feed(id), RequestOutcome::Completed) << id;
    EXPECT_EQ(feed(0), RequestOutcome::Duplicate);
}

TEST_F(RequestReassembly, RequestTakenEarlyIsFilledUpButNotDeliveredAgain)
{
    feed(piece(whole, 0, 4));
    ASSERT_TRUE(requests.takeOldest());
    EXPECT_EQ(takenData(), "0123" + std::string(6, '\0'));
    EXPECT_EQ(feed(piece(whole, 4, 6)), RequestOutcome::Completed);
    EXPECT_EQ(takenData(), whole.chunk);
    EXPECT_FALSE(requests.takeOldest());
    EXPECT_EQ(feed(0), RequestOutcome::Duplicate);
}

TEST_F(RequestReassembly, RestOfARequestAnsweredEarlyIsSkipped)
{
    feed(piece(whole, 0, 4));
    ASSERT_TRUE(requests.takeOldest());
    EXPECT_EQ(requests.takeCurrent().id, 0u);
    EXPECT_EQ(feed(piece(whole, 4, 3)), RequestOutcome::Stored);
    EXPECT_EQ(feed(piece(whole, 7, 3)), RequestOutcome::Completed);
    EXPECT_FALSE(requests.takeOldest());
}

TEST_F(RequestReassembly, DataIsLimitedByConnectionAndGivenBack)
{
    WireMessage huge = request("pipe", 0, "write", "x");
    huge.total = dm::kIncomingBytesLimit - 4096;
    EXPECT_EQ(feed(huge), RequestOutcome::Stored);
    const WireMessage small = request("pipe", 1, "write", std::string(5000, 'x'));
    EXPECT_EQ(feed(small), RequestOutcome::Refused);
    requests.reset();
    EXPECT_EQ(feed(small), RequestOutcome::Completed);
}

TEST_F(NotifyReassembly, ChunksAreAppendedAsTheyComeUpToTheirFirstZero)
{
    const WireMessage whole = notify("pipe", 0, std::string("ab\0cdef", 7));
    EXPECT_EQ(feed(piece(whole, 0, 5)), NotifyOutcome::Stored);
    EXPECT_EQ(feed(piece(whole, 5, 2)), NotifyOutcome::Completed);
    const WireMessage swapped = notify("pipe", 1, "abcdef");
    feed(piece(swapped, 3, 3));
    EXPECT_EQ(feed(piece(swapped, 0, 3)), NotifyOutcome::Completed);
    EXPECT_EQ(take(), "abef");
    EXPECT_EQ(take(), "defabc");
}

TEST_F(NotifyReassembly, AnUnfinishedTextHoldsBackTheNewerOnes)
{
    const WireMessage slow = notify("pipe", 0, "slow");
    feed(piece(slow, 0, 2));
    EXPECT_EQ(feed(notify("pipe", 1, "quick")), NotifyOutcome::Completed);
    EXPECT_EQ(take(), "(none)");
    EXPECT_EQ(feed(piece(slow, 2, 2)), NotifyOutcome::Completed);
    EXPECT_EQ(take(), "slow");
    EXPECT_EQ(take(), "quick");
}

TEST_F(NotifyReassembly, ARefusedTextIsSkippedToItsEnd)
{
    const WireMessage refused = notify("pipe", 0, "refused");
    ASSERT_TRUE(budget->tryReserve(dm::kIncomingBytesLimit));
    EXPECT_EQ(feed(piece(refused, 0, 3)), NotifyOutcome::Refused);
    budget->release(dm::kIncomingBytesLimit);
    EXPECT_EQ(feed(piece(refused, 3, 4)), NotifyOutcome::Stored);
    EXPECT_EQ(take(), "(none)");
    EXPECT_EQ(feed(notify("pipe", 1, "next")), NotifyOutcome::Completed);
    EXPECT_EQ(take(), "next") << "and is not held back";
}

TEST_F(NotifyReassembly, PacketsThatCouldNeverCompleteAreRefused)
{
    WireMessage mute = notify("pipe", 0, "");
    mute.total = 4;
    EXPECT_EQ(feed(mute), NotifyOutcome::Refused);
    WireMessage lying = notify("pipe", 0, "abcd");
    lying.claimedChunk = 5;
    EXPECT_EQ(feed(lying), NotifyOutcome::Refused);
    EXPECT_EQ(feed(notify("pipe", 1, "")), NotifyOutcome::Completed) << "no text is a text";
    EXPECT_EQ(take(), "");
}
