#include "dm/comm/IncomingNotifications.h"
#include "dm/comm/IncomingRequests.h"
#include "support/ReceivedPacket.h"
#include "support/WireMessage.h"

#include <gtest/gtest.h>
#include <string>

using namespace support;
using RequestOutcome = dm::IncomingRequests::Outcome;
using NotifyOutcome = dm::IncomingNotifications::Outcome;

namespace {

/// A message decoded as if it had been received.
template <typename Message>
class Arrival
{
public:
    explicit Arrival(const std::string& payload)
        : packet(payload)
    {
        dm::readKind(*packet);
        accepted = dm::decode(*packet, (*packet).getSize(), message);
    }

    ReceivedPacket packet;
    Message message;
    bool accepted = false;
};

class RequestReassembly : public testing::Test
{
protected:
    RequestOutcome feed(const std::string& payload)
    {
        Arrival<dm::RequestMessage> arrival(payload);
        return arrival.accepted ? requests.accept(arrival.message, *arrival.packet, budget)
                                : RequestOutcome::Dropped;
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
        Arrival<dm::NotifyMessage> arrival(wire.payload());
        return arrival.accepted ? notifications.accept(arrival.message, *arrival.packet, budget)
                                : NotifyOutcome::Refused;
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

TEST_F(RequestReassembly, PutsChunksTogether)
{
    EXPECT_EQ(feed(piece(whole, 0, 4)), RequestOutcome::Stored);
    EXPECT_EQ(feed(piece(whole, 4, 3)), RequestOutcome::Stored);
    EXPECT_EQ(feed(piece(whole, 7, 3)), RequestOutcome::Completed);
    ASSERT_TRUE(requests.takeOldest());
    EXPECT_EQ(takenData(), whole.chunk);
    EXPECT_FALSE(requests.takeOldest());
}

TEST_F(RequestReassembly, DropsChunksOutsideTheAnnouncedSize)
{
    auto lying = [this](std::uint32_t total, std::uint32_t offset, std::uint32_t claimed) {
        WireMessage message = piece(whole, 0, 8);
        message.total = total;
        message.offset = offset;
        message.claimedChunk = claimed;
        return message;
    };
    EXPECT_EQ(feed(piece(whole, 0, 2)), RequestOutcome::Stored);
    EXPECT_EQ(feed(lying(10, 3, 8)), RequestOutcome::Dropped) << "one byte past the end";
    EXPECT_EQ(feed(lying(10, 11, 1)), RequestOutcome::Dropped) << "all past the end";
    EXPECT_EQ(feed(lying(4, 0xFFFFFFFC, 8)), RequestOutcome::Dropped) << "wraps to the total";
    EXPECT_EQ(feed(lying(0, 0, 8)), RequestOutcome::Dropped) << "chunk of nothing";
    EXPECT_EQ(feed(lying(10, 0, 9)), RequestOutcome::Dropped) << "more than the packet holds";
    EXPECT_EQ(feed(lying(1000, 900, 8)), RequestOutcome::Dropped) << "size changed on the way";
    EXPECT_EQ(feed(lying(0xFFFFFFFF, 0xFFFFFFF0, 8)), RequestOutcome::Dropped);

    EXPECT_EQ(feed(piece(whole, 2, 8)), RequestOutcome::Completed) << "and is none the worse";
    ASSERT_TRUE(requests.takeOldest());
    EXPECT_EQ(takenData(), whole.chunk);
}

TEST_F(RequestReassembly, ShowsZerosWhereNothingArrived)
{
    EXPECT_EQ(feed(piece(whole, 6, 4)), RequestOutcome::Completed);
    ASSERT_TRUE(requests.takeOldest());
    EXPECT_EQ(takenData(), std::string(6, '\0') + "6789");
}

TEST_F(RequestReassembly, EmptyChunkCompletesWhateverTheSize)
{
    EXPECT_EQ(feed(piece(whole, 0, 0)), RequestOutcome::Completed);
    ASSERT_TRUE(requests.takeOldest());
    EXPECT_EQ(takenData(), std::string(10, '\0'));
}

TEST_F(RequestReassembly, TakesARequestWithoutSizes)
{
    const std::string withSizes = request("pipe", 0, "bare").payload();
    EXPECT_EQ(feed(withSizes.substr(0, withSizes.size() - 12)), RequestOutcome::Completed);
}

TEST_F(RequestReassembly, DropsRepeatsUntilANewConnection)
{
    EXPECT_EQ(feed(5), RequestOutcome::Completed);
    EXPECT_EQ(feed(5), RequestOutcome::Duplicate);
    EXPECT_EQ(feed(3), RequestOutcome::Duplicate);
    requests.reset();
    EXPECT_FALSE(requests.takeOldest());
    EXPECT_EQ(feed(3), RequestOutcome::Completed);
}

TEST_F(RequestReassembly, IdsWrapAround)
{
    EXPECT_EQ(feed(0xFFFFFFFE), RequestOutcome::Completed);
    EXPECT_EQ(feed(0xFFFFFFFF), RequestOutcome::Completed);
    EXPECT_EQ(feed(0), RequestOutcome::Completed);
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
    EXPECT_EQ(feed(1), RequestOutcome::Completed);
}

TEST_F(RequestReassembly, ANewConnectionAbortsTheRequestBeingAnswered)
{
    feed(request("pipe", 7, "old", "data"));
    ASSERT_TRUE(requests.takeOldest());
    requests.reset();
    EXPECT_TRUE(requests.isAborted());
    requests.discardAbortToken();
    EXPECT_FALSE(requests.isAborted());
    EXPECT_EQ(takenData(), "");
    EXPECT_EQ(requests.takeCurrent().id, 7u) << "who answers late answers what it was asked";
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

TEST_F(NotifyReassembly, ANewConnectionKeepsWholeTextsAndForgetsHalves)
{
    feed(notify("pipe", 0, "unread"));
    feed(piece(notify("pipe", 1, "half a text"), 0, 4));
    notifications.beginConnection();
    EXPECT_EQ(feed(notify("pipe", 0, "new")), NotifyOutcome::Completed) << "ids start again";
    EXPECT_EQ(feed(notify("pipe", 1, "newer")), NotifyOutcome::Completed);
    EXPECT_EQ(take(), "unread");
    EXPECT_EQ(take(), "new");
    EXPECT_EQ(take(), "newer");
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
